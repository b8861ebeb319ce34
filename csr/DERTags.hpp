#pragma once

#include <cstdint>

namespace KavrelCrypto {

// The tags (X.690) in a certification request.
inline constexpr std::uint8_t integerTag = 0x02;
inline constexpr std::uint8_t bitStringTag = 0x03;
inline constexpr std::uint8_t utf8StringTag = 0x0C;
inline constexpr std::uint8_t printableStringTag = 0x13;
inline constexpr std::uint8_t ia5StringTag = 0x16;
inline constexpr std::uint8_t sequenceTag = 0x30;
inline constexpr std::uint8_t setTag = 0x31;

}  // namespace KavrelCrypto
