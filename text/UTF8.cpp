#include "text/UTF8.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace KavrelCrypto {
namespace {

// RFC 3629, section 4: the sequences of more than one byte. Every byte after the second is 80..BF.
struct Sequence {
    std::uint8_t firstFrom, firstTo;
    std::uint8_t secondFrom, secondTo;
    std::size_t length;
};

constexpr Sequence sequences[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

/// Returns the length of the well-formed sequence of more than one byte that `bytes`, which are not empty,
/// begin with; 0 if they begin with something else.
std::size_t sequenceLength(std::string_view bytes) {
    const auto at = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    for (const Sequence& s : sequences) {
        if (at(0) < s.firstFrom || at(0) > s.firstTo) {
            continue;
        }
        if (bytes.size() < s.length || at(1) < s.secondFrom || at(1) > s.secondTo) {
            return 0;
        }
        const std::string_view rest = bytes.substr(2, s.length - 2);
        const bool wellFormed = std::all_of(
            rest.begin(), rest.end(), [](char c) { return (static_cast<std::uint8_t>(c) & 0xC0U) == 0x80; });
        return wellFormed ? s.length : 0;
    }
    return 0;
}

}  // namespace

bool isUTF8(std::string_view bytes) {
    while (!bytes.empty()) {
        const bool isASCII = static_cast<std::uint8_t>(bytes.front()) < 0x80;
        const std::size_t length = isASCII ? 1 : sequenceLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

}  // namespace KavrelCrypto
