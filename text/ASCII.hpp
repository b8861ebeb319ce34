#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Strings (UTF-8) in ASCII.
namespace KavrelCrypto {

/// Returns the number of bytes of `string` in ASCII, or 0 if it contains a character that is not in ASCII.
std::size_t asciiLength(std::string_view string);

/// Returns `string` with each character that is not in ASCII replaced by one "?".
std::string lossyASCII(std::string_view string);

}  // namespace KavrelCrypto
