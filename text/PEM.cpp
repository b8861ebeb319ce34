#include "text/PEM.hpp"

#include <cstddef>
#include <cstdint>

#include "text/Base64.hpp"

namespace KavrelCrypto {
namespace {

constexpr std::size_t lineLength = 64;

std::string without(std::string_view text, std::string_view marker) {
    std::string rest;
    rest.reserve(text.size());
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t found = text.find(marker, start);
        rest.append(text, start, found - start);
        start = found == std::string_view::npos ? text.size() : found + marker.size();
    }
    return rest;
}

/// Returns the length of the white space that `text`, which is not empty, begins with; 0 if it begins with
/// something else. White space is the platform's whitespace-and-newline set: the characters with the Unicode
/// property White_Space and, though it lacks that property, U+200B.
std::size_t whiteSpaceLength(std::string_view text) {
    // The characters beyond ASCII are compared in UTF-8.
    const auto at = [&](std::size_t i) { return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0U; };
    const auto isBetween = [&](unsigned first, unsigned last) { return at(2) >= first && at(2) <= last; };
    switch (at(0)) {
        case '\t':
        case '\n':
        case '\v':
        case '\f':
        case '\r':
        case ' ':
            return 1;
        case 0xC2:  // U+0085 next line, U+00A0 no-break space
            return at(1) == 0x85 || at(1) == 0xA0 ? 2 : 0;
        case 0xE1:  // U+1680 Ogham space mark
            return at(1) == 0x9A && at(2) == 0x80 ? 3 : 0;
        case 0xE2:
            if (at(1) == 0x80) {  // U+2000 to U+200B, U+2028 and U+2029, U+202F narrow no-break space
                return isBetween(0x80, 0x8B) || isBetween(0xA8, 0xA9) || at(2) == 0xAF ? 3 : 0;
            }
            return at(1) == 0x81 && at(2) == 0x9F ? 3 : 0;  // U+205F medium mathematical space

        case 0xE3:  // U+3000 ideographic space
            return at(1) == 0x80 && at(2) == 0x80 ? 3 : 0;
        default:
            return 0;
    }
}

void removeWhiteSpace(std::string& text) {
    char* kept = text.data();
    for (std::string_view rest = text; !rest.empty();) {
        // One look tells that most characters are not white space.
        const auto first = static_cast<std::uint8_t>(rest.front());
        const std::size_t length = first > ' ' && first < 0xC2 ? 0 : whiteSpaceLength(rest);
        if (length == 0) {
            *kept++ = rest.front();
            rest.remove_prefix(1);
        } else {
            rest.remove_prefix(length);
        }
    }
    text.resize(static_cast<std::size_t>(kept - text.data()));
}

}  // namespace

std::string publicKeyPEM(BytesView publicKey) {
    const std::string base64 = base64Encode(publicKey);
    std::string pem = "-----BEGIN PUBLIC KEY-----\n";
    pem.reserve(pem.size() + base64.size() + base64.size() / lineLength * 2 + 32);
    for (std::size_t i = 0; i < base64.size(); i += lineLength) {
        pem += i == 0 ? "" : "\r\n";
        pem.append(base64, i, lineLength);
    }
    pem += "\n-----END PUBLIC KEY-----";
    return pem;
}

std::string certificatePEMBody(std::string_view pem) {
    std::string body = without(without(pem, "-----BEGIN CERTIFICATE-----"), "-----END CERTIFICATE-----");
    removeWhiteSpace(body);
    return body;
}

}  // namespace KavrelCrypto
