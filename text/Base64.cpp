#include "text/Base64.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

namespace KavrelCrypto {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// A group is four characters for three bytes. The table holds, for each place in a group and each character,
// the bits that the character contributes to the group's 24.
constexpr std::uint32_t noDigit = 1U << 24U;
constexpr auto groupBits = [] {
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
std::uint32_t group(const char* characters) {
    const auto bits = [&](std::size_t place) {
        return groupBits[place][static_cast<std::uint8_t>(characters[place])];
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
    // Reads one byte more than a group has, because compilers turn four bytes into one load.
    for (; bytes.size() > 3; bytes = bytes.subspan(3), out += 4) {
        const std::uint32_t bits = fourBytes(bytes[0], bytes[1], bytes[2], bytes[3]);
        out[0] = alphabet[bits >> 26U];
        out[1] = alphabet[bits >> 20U & 63U];
        out[2] = alphabet[bits >> 14U & 63U];
        out[3] = alphabet[bits >> 8U & 63U];
    }
    if (!bytes.empty()) {
        const std::uint32_t bits =
            fourBytes(bytes[0], bytes.size() > 1 ? bytes[1] : 0, bytes.size() > 2 ? bytes[2] : 0, 0);
        for (std::size_t i = 0; i <= bytes.size(); ++i) {
            out[i] = alphabet[bits >> (26U - 6U * i) & 63U];
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
        const std::uint32_t bits = group(in);
        seen |= bits;
        out[0] = static_cast<std::uint8_t>(bits >> 16U);
        out[1] = static_cast<std::uint8_t>(bits >> 8U);
        out[2] = static_cast<std::uint8_t>(bits);
    }
    if (padding > 0) {
        const char last[] = {in[0], in[1], padding == 1 ? in[2] : 'A', 'A'};  // an A contributes no bits
        const std::uint32_t bits = group(last);
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
