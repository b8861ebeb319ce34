#include "tools/kavrel/CertificationRequest.hpp"

#include <algorithm>
#include <openssl/pem.h>
#include <optional>

#include "text/Base64.hpp"
#include "tools/kavrel/CommandIO.hpp"

namespace KavrelCrypto::Host {
namespace {

CertificationRequest fromDER(BytesView der) {
    const unsigned char* end = der.data();
    CertificationRequest request(d2i_X509_REQ(nullptr, &end, static_cast<long>(der.size())));
    if (!request) {
        throw CommandError("what was given is no certification request (PKCS #10), or a damaged one.");
    }
    if (end != der.data() + der.size()) {
        throw CommandError(
            "further bytes follow the certification request. Give one request and nothing else.");
    }
    return request;
}

CertificationRequest fromPEM(std::string_view text) {
    auto request = readPEM<CertificationRequest, &PEM_read_bio_X509_REQ>(text);
    if (!request) {
        throw CommandError(
            "the PEM text holds no certification request (\"CERTIFICATE REQUEST\"), or one that is damaged "
            "or "
            "encrypted.");
    }
    return request;
}

CertificationRequest fromBase64(std::string_view text) {
    std::string oneLine;
    std::copy_if(text.begin(), text.end(), std::back_inserter(oneLine),
                 [](char c) { return std::string_view(" \t\r\n").find(c) == std::string_view::npos; });
    const std::optional<Bytes> der = base64Decode(oneLine);
    if (!der || der->empty()) {
        throw CommandError(
            "standard input holds no certification request. Give one in base64 (the \"csrPem\" of "
            "createCSR), in PEM or in DER.");
    }
    return fromDER(*der);
}

CertificationRequest decode(std::string_view input) {
    constexpr char sequence =
        0x30;  // how DER begins; in base64 no request begins with this character, a zero
    if (input.starts_with(sequence)) {
        return fromDER({reinterpret_cast<const std::uint8_t*>(input.data()), input.size()});
    }
    return input.find("-----BEGIN ") != std::string_view::npos ? fromPEM(input) : fromBase64(input);
}

}  // namespace

CertificationRequest readRequest(std::string_view input) {
    CertificationRequest request = decode(input);
    EVP_PKEY* key = X509_REQ_get0_pubkey(request.get());
    if (key == nullptr) {
        throw CommandError("the certification request names a public key of a kind that cannot be used.");
    }
    if (X509_REQ_verify(request.get(), key) != 1) {
        throw CommandError(
            "the certification request was changed after it was signed, or not signed with its own "
            "key: its signature is wrong.");
    }
    return request;
}

std::string describeRequest(X509_REQ& request) {
    constexpr unsigned long nameForm = XN_FLAG_MULTILINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    return written([&](BIO* output) {
        X509_REQ_print_ex(output, &request, nameForm, X509_FLAG_NO_PUBKEY | X509_FLAG_NO_SIGDUMP);
    });
}

}  // namespace KavrelCrypto::Host
