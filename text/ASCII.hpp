#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts (UTF-8) as ASCII.
namespace KavrelCrypto {

/// The number of bytes of `text` in ASCII: its length, or 0 when it holds a character that ASCII cannot
/// carry.
std::size_t asciiLength(std::string_view text);

/// `text` with each character that ASCII cannot carry replaced by one "?".
std::string lossyASCII(std::string_view text);

}  // namespace KavrelCrypto
