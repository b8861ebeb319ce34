#include "text/PEM.hpp"

#include <cstddef>

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

// The platform's whitespace-and-newline set beyond ASCII, in UTF-8: the characters with the Unicode property
// White_Space and, though it lacks that property, U+200B.
constexpr std::string_view wideWhiteSpace[] = {
    "\xC2\x85",      // U+0085 next line
    "\xC2\xA0",      // U+00A0 no-break space
    "\xE1\x9A\x80",  // U+1680 Ogham space mark
    "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85",
    "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A",  // U+2000 to U+200A
    "\xE2\x80\x8B",  // U+200B zero width space
    "\xE2\x80\xA8",  // U+2028 line separator
    "\xE2\x80\xA9",  // U+2029 paragraph separator
    "\xE2\x80\xAF",  // U+202F narrow no-break space
    "\xE2\x81\x9F",  // U+205F medium mathematical space
    "\xE3\x80\x80",  // U+3000 ideographic space
};

/// Returns the length of the white space that `text`, which is not empty, begins with; 0 if it begins with
/// something else.
std::size_t whiteSpaceLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first == ' ' || (first >= '\t' && first <= '\r')) {
        return 1;
    }
    if (first < 0xC2 || first > 0xE3) {  // no string in the table begins with such a byte
        return 0;
    }
    for (const std::string_view space : wideWhiteSpace) {
        if (text.starts_with(space)) {
            return space.size();
        }
    }
    return 0;
}

std::string withoutWhiteSpace(std::string_view text) {
    std::string rest;
    rest.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = whiteSpaceLength(text);
        if (length == 0) {
            rest += text.front();
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return rest;
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
    return withoutWhiteSpace(
        without(without(pem, "-----BEGIN CERTIFICATE-----"), "-----END CERTIFICATE-----"));
}

}  // namespace KavrelCrypto
