// The two PEM formats, compared with their definitions carried out step by step.

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/check.hpp"
#include "tests/plugin/OpenSSL.hpp"
#include "text/PEM.hpp"
#include "text/UTF8.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;

// The platform's whitespace-and-newline set: the characters with the Unicode property White_Space, and
// U+200B.
constexpr std::array<std::string_view, 26> whiteSpace = {
    "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00A0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
    "\u2009", "\u200A", "\u200B", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

// What the even bytes of an input stand for when it is read as a row of pieces: the markers, pieces of which
// others may be left when one is taken out, what is nearly white space, and what is nothing of the kind. The
// odd bytes stand for white space.
constexpr std::string_view pieces[] = {"-----BEGIN CERTIFICATE-----",
                                       "-----END CERTIFICATE-----",
                                       "-----begin certificate-----",
                                       "-----BEGIN CERTIFICATE----",
                                       "-----BEGIN ",
                                       "-----END ",
                                       "CERTIFICATE-----",
                                       " CERTIFICATE",
                                       "-----",
                                       "----",
                                       "-",
                                       "BEGIN",
                                       "END",
                                       "CERT",
                                       "IFICATE",
                                       "N",
                                       "A",
                                       "MIIB",
                                       "z9+/",
                                       "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA",
                                       "=",
                                       "\u0084",
                                       "\u180E",
                                       "\u200C",
                                       "\u2060",
                                       "\u3001",
                                       "\uFEFF",
                                       "\u00E9",
                                       "\U0001F600"};

std::string fromPieces(BytesView data) {
    std::string text;
    for (const std::uint8_t byte : data.first(std::min(data.size(), std::size_t{256}))) {
        const std::size_t index = byte / 2U;
        text += byte % 2 == 0 ? pieces[index % std::size(pieces)] : whiteSpace[index % whiteSpace.size()];
    }
    return text;
}

std::string withoutEvery(std::string_view unwanted, const std::string& text) {
    std::string rest;
    std::size_t start = 0;
    for (std::size_t end = text.find(unwanted); end != std::string::npos; end = text.find(unwanted, start)) {
        rest.append(text, start, end - start);
        start = end + unwanted.size();
    }
    return rest.append(text, start);
}

/// Takes out every BEGIN marker, then every END marker, then all white space.
std::string stepByStep(std::string text) {
    text = withoutEvery("-----BEGIN CERTIFICATE-----", text);
    text = withoutEvery("-----END CERTIFICATE-----", text);
    for (const std::string_view space : whiteSpace) {
        text = withoutEvery(space, text);
    }
    return text;
}

/// Writes a public key's PEM as the contract words it.
std::string publicKeyPEMByOpenSSL(BytesView key) {
    std::string body = OpenSSL::base64(key);
    for (std::size_t end = (body.size() - 1) / 64 * 64; !body.empty() && end > 0; end -= 64) {
        body.insert(end, "\r\n");
    }
    return "-----BEGIN PUBLIC KEY-----\n" + body + "\n-----END PUBLIC KEY-----";
}

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string body = certificatePEMBody(text);
    if (isUTF8(text)) {  // all that reaches the component; anything else only has to do no harm
        check(body == stepByStep(std::string(text)), "a string is what the three steps leave of it");
    }
    const std::string row = fromPieces({data, size});
    check(certificatePEMBody(row) == stepByStep(row), "a row of pieces is what the three steps leave of it");
    check(publicKeyPEM({data, size}) == publicKeyPEMByOpenSSL({data, size}), "both public keys are the same");
    return 0;
}
