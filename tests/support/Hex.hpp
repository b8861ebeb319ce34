#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// Returns the bytes that `text` spells in hexadecimal, separated by blanks.
inline Bytes hex(const std::string& text) {
    Bytes bytes;
    std::istringstream words(text);
    for (unsigned byte = 0; words >> std::hex >> byte;) {
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
}

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace KavrelCrypto
