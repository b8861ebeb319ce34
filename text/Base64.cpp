#include "text/Base64.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

namespace KavrelCrypto {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> digits = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(noDigit);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        table[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return table;
}();

std::size_t paddingLength(std::string_view base64) {
    if (base64.ends_with("==")) {
        return 2;
    }
    return base64.ends_with('=') ? 1 : 0;
}

}  // namespace

std::string base64Encode(BytesView bytes) {
    std::string base64;
    base64.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
        std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16U;
        group |= count > 1 ? static_cast<std::uint32_t>(bytes[i + 1]) << 8U : 0U;
        group |= count > 2 ? bytes[i + 2] : 0U;
        base64 += alphabet[group >> 18U];
        base64 += alphabet[group >> 12U & 63U];
        base64 += count > 1 ? alphabet[group >> 6U & 63U] : '=';
        base64 += count > 2 ? alphabet[group & 63U] : '=';
    }
    return base64;
}

std::optional<Bytes> base64Decode(std::string_view base64) {
    if (base64.size() % 4 != 0) {
        return std::nullopt;
    }
    const std::size_t padding = paddingLength(base64);
    Bytes bytes;
    bytes.reserve(base64.size() / 4 * 3);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < base64.size(); ++i) {
        const bool padded = i >= base64.size() - padding;
        const std::uint8_t digit = padded ? 0 : digits[static_cast<std::uint8_t>(base64[i])];
        if (digit == noDigit) {
            return std::nullopt;
        }
        group = group << 6U | digit;
        if (i % 4 == 3) {
            bytes.push_back(static_cast<std::uint8_t>(group >> 16U));
            bytes.push_back(static_cast<std::uint8_t>(group >> 8U));
            bytes.push_back(static_cast<std::uint8_t>(group));
            group = 0;
        }
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

}  // namespace KavrelCrypto
