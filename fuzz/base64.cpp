// base64 both ways, compared with OpenSSL's encoder and with a decoder that reads bit by bit.

#include "text/Base64.hpp"

#include <optional>
#include <string>
#include <string_view>

#include "fuzz/check.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;

/// Decodes as the platform does: RFC 4648, except that the bits left over in the last group are not looked
/// at.
std::optional<Bytes> decodedBitByBit(std::string_view text) {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) {
        text.remove_suffix(1);
    }
    std::string bits;
    for (const char digit : text) {
        const std::size_t value = alphabet.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        for (unsigned bit = 6; bit-- > 0;) {
            bits += (value >> bit & 1U) != 0 ? '1' : '0';
        }
    }
    Bytes bytes;
    for (std::size_t start = 0; start + 8 <= bits.size(); start += 8) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(bits.substr(start, 8), nullptr, 2)));
    }
    return bytes;
}

/// Puts one character, which may be any, into `text`. The data say which and where.
void spoil(std::string& text, BytesView data) {
    const std::size_t where = (data[0] | static_cast<std::size_t>(data[1]) << 8U) % text.size();
    text[where] = static_cast<char>(data[2]);
}

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    const BytesView bytes(data, size);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    check(base64Decode(text) == decodedBitByBit(text), "both decoders agree on any string");

    std::string encoded = base64Encode(bytes);
    check(encoded == OpenSSL::base64(bytes), "both encoders agree");
    check(base64Decode(encoded) == Bytes(bytes.begin(), bytes.end()), "what was encoded is decoded");
    if (size >= 3) {
        spoil(encoded, bytes);
        check(base64Decode(encoded) == decodedBitByBit(encoded),
              "both decoders agree if one character is wrong");
    }
    return 0;
}
