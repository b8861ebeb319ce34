#include "text/ASCII.hpp"

#include <algorithm>

namespace KavrelCrypto {
namespace {

bool isASCII(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

}  // namespace

std::size_t asciiLength(std::string_view string) {
    return std::all_of(string.begin(), string.end(), isASCII) ? string.size() : 0;
}

std::string lossyASCII(std::string_view string) {
    std::string ascii;
    ascii.reserve(string.size());
    for (const char c : string) {
        if (isASCII(c)) {
            ascii += c;
        } else if (!isContinuation(c)) {
            ascii += '?';
        }
    }
    return ascii;
}

}  // namespace KavrelCrypto
