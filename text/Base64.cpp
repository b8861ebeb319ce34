#include "text/Base64.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

namespace KavrelCrypto {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Four characters, a group, stand for three bytes. For each of the four places a table has the values that
// can stand there, shifted to where they belong, so that OR puts a group together from four of them.

// For each place and each digit (0 to 63) its character. The one at the first place is in the lowest byte.
constexpr auto placedCharacters = [] {
    std::array<std::array<std::uint32_t, 64>, 4> table{};
    for (std::uint32_t place = 0; place < 4; ++place) {
        for (std::size_t digit = 0; digit < alphabet.size(); ++digit) {
            table[place][digit] = static_cast<std::uint32_t>(alphabet[digit]) << (8U * place);
        }
    }
    return table;
}();

/// Returns the four characters for the highest 24 of the 32 bits.
std::uint32_t groupCharacters(std::uint32_t bits) {
    return placedCharacters[0][bits >> 26U] | placedCharacters[1][bits >> 20U & 63U] |
           placedCharacters[2][bits >> 14U & 63U] | placedCharacters[3][bits >> 8U & 63U];
}

// For each place and each character its six bits, among the group's 24.
constexpr std::uint32_t noDigit = 1U << 24U;
constexpr auto placedBits = [] {
    std::array<std::array<std::uint32_t, 256>, 4> table{};
    for (std::uint32_t place = 0; place < 4; ++place) {
        table[place].fill(noDigit);
        for (std::uint32_t digit = 0; digit < alphabet.size(); ++digit) {
            table[place][static_cast<std::uint8_t>(alphabet[digit])] = digit << (18U - 6U * place);
        }
    }
    return table;
}();

/// Returns the 24 bits of the group at `characters`. The bit noDigit is set if one of the four is not a
/// digit.
std::uint32_t groupBits(const char* characters) {
    const auto bits = [&](std::size_t place) {
        return placedBits[place][static_cast<std::uint8_t>(characters[place])];
    };
    return bits(0) | bits(1) | bits(2) | bits(3);
}

std::uint32_t fourBytes(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return a << 24U | b << 16U | c << 8U | d;
}

std::size_t paddingLength(std::string_view base64) {
    if (base64.ends_with("==")) {
        return 2;
    }
    return base64.ends_with('=') ? 1 : 0;
}

}  // namespace

std::string base64Encode(BytesView bytes) {
    std::string base64((bytes.size() + 2) / 3 * 4, '=');
    char* out = base64.data();
    // Reads one byte more than a group has, because compilers turn four bytes into one load, as they turn the
    // four characters into one store.
    for (; bytes.size() > 3; bytes = bytes.subspan(3), out += 4) {
        const std::uint32_t characters = groupCharacters(fourBytes(bytes[0], bytes[1], bytes[2], bytes[3]));
        out[0] = static_cast<char>(characters);
        out[1] = static_cast<char>(characters >> 8U);
        out[2] = static_cast<char>(characters >> 16U);
        out[3] = static_cast<char>(characters >> 24U);
    }
    if (!bytes.empty()) {
        const std::uint32_t characters = groupCharacters(
            fourBytes(bytes[0], bytes.size() > 1 ? bytes[1] : 0, bytes.size() > 2 ? bytes[2] : 0, 0));
        for (std::size_t i = 0; i <= bytes.size(); ++i) {
            out[i] = static_cast<char>(characters >> (8U * i));
        }
    }
    return base64;
}

std::optional<Bytes> base64Decode(std::string_view base64) {
    if (base64.size() % 4 != 0) {
        return std::nullopt;
    }
    const std::size_t padding = paddingLength(base64);
    Bytes bytes(base64.size() / 4 * 3 - padding);
    const char* in = base64.data();
    std::uint8_t* out = bytes.data();
    std::uint32_t seen = 0;
    for (std::size_t left = bytes.size() / 3; left > 0; --left, in += 4, out += 3) {
        const std::uint32_t bits = groupBits(in);
        seen |= bits;
        out[0] = static_cast<std::uint8_t>(bits >> 16U);
        out[1] = static_cast<std::uint8_t>(bits >> 8U);
        out[2] = static_cast<std::uint8_t>(bits);
    }
    if (padding > 0) {
        const char last[] = {in[0], in[1], padding == 1 ? in[2] : 'A', 'A'};  // an A contributes no bits
        const std::uint32_t bits = groupBits(last);
        seen |= bits;
        out[0] = static_cast<std::uint8_t>(bits >> 16U);
        if (padding == 1) {
            out[1] = static_cast<std::uint8_t>(bits >> 8U);
        }
    }
    if ((seen & noDigit) != 0) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace KavrelCrypto
