// From the string of a certificate to its bytes, beside OpenSSL's decoder of base64 in lines.

#include <memory>
#include <openssl/evp.h>
#include <string_view>

#include "bench/Comparison.hpp"
#include "bench/Inputs.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"

namespace KavrelCrypto::Bench {
namespace {

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

void addCertificateText() {
    for (const std::size_t size : certificateSizes) {
        const auto text = std::make_shared<const std::string>(certificateText(size));
        compare<Bytes>("certificate string to bytes/" + sizeName(size),
                       {{"KavrelCrypto", [text] { return base64Decode(certificatePEMBody(*text)).value(); }},
                        {"OpenSSL", [text] { return decodeLinesWithOpenSSL(*text); }}});
    }
}

}  // namespace KavrelCrypto::Bench
