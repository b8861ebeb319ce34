#include "tools/kavrel/CertificationRequest.hpp"

#include <algorithm>
#include <openssl/pem.h>
#include <optional>

#include "text/Base64.hpp"
#include "tools/kavrel/CommandIO.hpp"

namespace KavrelCrypto::Host {
namespace {

/// What to do about input that is not a request.
constexpr const char* advice = " Give a request in base64 (the \"csrPem\" of createCSR), in PEM or in DER.";

CertificationRequest fromDER(BytesView der) {
    const unsigned char* end = der.data();
    CertificationRequest request(d2i_X509_REQ(nullptr, &end, static_cast<long>(der.size())));
    if (!request) {
        throw CommandError(
            std::string("the input is not a certification request (PKCS #10), or it is damaged.") + advice);
    }
    if (end != der.data() + der.size()) {
        throw CommandError("more bytes follow the certification request. Give one request and nothing else.");
    }
    return request;
}

CertificationRequest fromPEM(std::string_view text) {
    auto request = readPEM<CertificationRequest, &PEM_read_bio_X509_REQ>(text);
    if (!request) {
        throw CommandError(
            std::string(
                "the input is PEM, but it has no certification request (\"CERTIFICATE REQUEST\"), or a "
                "damaged or encrypted one.") +
            advice);
    }
    return request;
}

CertificationRequest fromBase64(std::string_view text) {
    std::string oneLine;
    std::copy_if(text.begin(), text.end(), std::back_inserter(oneLine),
                 [](char c) { return std::string_view(" \t\r\n").find(c) == std::string_view::npos; });
    const std::optional<Bytes> der = base64Decode(oneLine);
    if (!der || der->empty()) {
        throw CommandError(std::string("the input is not a certification request.") + advice);
    }
    return fromDER(*der);
}

CertificationRequest decode(std::string_view input) {
    // DER begins with this byte. In ASCII it is a zero, with which no request in base64 begins.
    constexpr char sequence = 0x30;
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
        throw CommandError(
            "the public key in the certification request is of a kind that OpenSSL cannot use. "
            "Make a request for another key.");
    }
    if (X509_REQ_verify(request.get(), key) != 1) {
        throw CommandError(
            "the signature of the certification request is wrong: the request was changed after it was "
            "signed, or it was signed with another key than the one in it. Make a new request.");
    }
    return request;
}

std::string describeRequest(X509_REQ& request) {
    constexpr unsigned long nameForm = XN_FLAG_MULTILINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    return writeToString([&](BIO* output) {
        X509_REQ_print_ex(output, &request, nameForm, X509_FLAG_NO_PUBKEY | X509_FLAG_NO_SIGDUMP);
    });
}

}  // namespace KavrelCrypto::Host
