#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace KavrelCrypto {

/// An owned, growable sequence of bytes. DER is written by appending to one.
using Bytes = std::vector<std::uint8_t>;

/// A read-only view of bytes that belong to somebody else.
using BytesView = std::span<const std::uint8_t>;

/// Returns the bytes of a string.
inline Bytes bytesOf(std::string_view string) {
    return {string.begin(), string.end()};
}

/// Appends `bytes` to `out`.
inline void append(BytesView bytes, Bytes& out) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace KavrelCrypto
