// Base64 both ways, and from the string of a certificate to its bytes, beside the libraries that people would
// use instead. Each contender returns a string or bytes of its own. mbed TLS is none of them: its own base64
// takes the same time for all characters, as a secret key needs it.

#include <glib.h>
#include <memory>
#include <openssl/evp.h>
#include <string_view>

#include "bench/Comparison.hpp"
#include "bench/Inputs.hpp"
#include "bench/OpenSSL.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr std::size_t base64Sizes[] = {32, 270, 64 << 10, 1 << 20};

std::size_t encodedSize(const Bytes& bytes) {
    return (bytes.size() + 2) / 3 * 4;
}

std::string encodeWithGLib(const Bytes& bytes) {
    std::string base64(encodedSize(bytes) + 4, '\0');
    gint state = 0;
    gint save = 0;
    gsize length = g_base64_encode_step(bytes.data(), bytes.size(), FALSE, base64.data(), &state, &save);
    length += g_base64_encode_close(FALSE, base64.data() + length, &state, &save);
    base64.resize(length);
    return base64;
}

Bytes decodeWithGLib(const std::string& base64) {
    Bytes bytes(base64.size() / 4 * 3 + 3);
    gint state = 0;
    guint save = 0;
    bytes.resize(g_base64_decode_step(base64.data(), base64.size(), bytes.data(), &state, &save));
    return bytes;
}

constexpr std::size_t certificateSizes[] = {1 << 10, 64 << 10, 1 << 20, 16 << 20};
constexpr std::string_view header = "-----BEGIN CERTIFICATE-----\n";
constexpr std::string_view footer = "-----END CERTIFICATE-----\n";

std::string certificateText(std::size_t size) {
    const std::string base64 = base64Encode(someBytes(size));
    std::string text(header);
    for (std::size_t i = 0; i < base64.size(); i += 64) {
        text.append(base64, i, 64);
        text += '\n';
    }
    return text.append(footer);
}

/// Is told where the lines are: OpenSSL's decoder does not look for markers.
Bytes decodeLinesWithOpenSSL(std::string_view text) {
    const std::string_view lines = text.substr(header.size(), text.size() - header.size() - footer.size());
    Bytes bytes(lines.size() / 4 * 3 + 3);
    const std::unique_ptr<EVP_ENCODE_CTX, decltype(&EVP_ENCODE_CTX_free)> context(EVP_ENCODE_CTX_new(),
                                                                                  EVP_ENCODE_CTX_free);
    int length = 0;
    int rest = 0;
    EVP_DecodeInit(context.get());
    if (EVP_DecodeUpdate(context.get(), bytes.data(), &length,
                         reinterpret_cast<const unsigned char*>(lines.data()),
                         static_cast<int>(lines.size())) < 0 ||
        EVP_DecodeFinal(context.get(), bytes.data() + length, &rest) < 0) {
        return {};
    }
    bytes.resize(static_cast<std::size_t>(length + rest));
    return bytes;
}

}  // namespace

void addBase64() {
    for (const std::size_t size : base64Sizes) {
        const auto bytes = std::make_shared<const Bytes>(someBytes(size));
        compare<std::string>("base64, encoding/" + sizeName(size),
                             {{"KavrelCrypto", [bytes] { return base64Encode(*bytes); }},
                              {"OpenSSL", [bytes] { return OpenSSL::base64(*bytes); }},
                              {"GLib", [bytes] { return encodeWithGLib(*bytes); }}});
        const auto base64 = std::make_shared<const std::string>(base64Encode(*bytes));
        compare<Bytes>("base64, decoding/" + sizeName(size),
                       {{"KavrelCrypto", [base64] { return base64Decode(*base64).value(); }},
                        {"OpenSSL", [base64] { return OpenSSL::fromBase64(*base64); }},
                        {"GLib", [base64] { return decodeWithGLib(*base64); }}});
    }
}

void addCertificateText() {
    for (const std::size_t size : certificateSizes) {
        const auto text = std::make_shared<const std::string>(certificateText(size));
        compare<Bytes>("certificate string to bytes/" + sizeName(size),
                       {{"KavrelCrypto", [text] { return base64Decode(certificatePEMBody(*text)).value(); }},
                        {"OpenSSL", [text] { return decodeLinesWithOpenSSL(*text); }}});
    }
}

}  // namespace KavrelCrypto::Bench
