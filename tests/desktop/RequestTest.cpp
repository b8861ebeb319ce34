// Certification requests made by the component with keys of the desktop device, judged by the openssl
// command.

#include <gmock/gmock.h>

#include "csr/CertificateSigningRequest.hpp"
#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

namespace KavrelCrypto {
namespace {

using testing::HasSubstr;

struct RequestCase {
    KeyAlgorithm algorithm;
    std::int64_t bits;
    const char* name;  // of the signature algorithm, as the openssl command prints it
};

class CertificateSigningRequests : public testing::TestWithParam<RequestCase> {
  protected:
    const TestDevice device;
};

TEST_P(CertificateSigningRequests, AreAcceptedByOpenSSL) {
    SecKeyCreateRandomKey(
        pairParameters(GetParam().algorithm.secKeyAttrType(), GetParam().bits, "private", "public"), nullptr);
    const CertificateSigningRequest request(
        {.commonName = "A Person", .keyAlgorithm = GetParam().algorithm, .includeEkuExtensions = true});
    const SecKeyRef publicKey = findKey("public");
    const std::optional<Bytes> der = request.build(
        SecKeyCopyExternalRepresentation(publicKey, nullptr).value(), findKey("private"), publicKey);
    ASSERT_NE(der, std::nullopt);
    writeFile(device.folder() / "request", *der);
    const Outcome outcome = run("openssl req -inform DER -verify -noout -text -nameopt RFC2253 -in " +
                                quoted(device.folder() / "request"));
    EXPECT_THAT(outcome.output, HasSubstr("request self-signature verify OK"));
    EXPECT_THAT(outcome.output, HasSubstr("Subject: CN=A Person"));
    EXPECT_THAT(outcome.output, HasSubstr(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(
    Algorithms, CertificateSigningRequests,
    testing::Values(
        RequestCase{KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha1), 1024, "sha1WithRSAEncryption"},
        RequestCase{KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256), 2048, "sha256WithRSAEncryption"},
        RequestCase{KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha512), 2048, "sha512WithRSAEncryption"},
        RequestCase{KeyAlgorithm::ec(KeyAlgorithm::Signature::sha256), 256, "ecdsa-with-SHA256"},
        RequestCase{KeyAlgorithm::ec(KeyAlgorithm::Signature::sha512), 256, "ecdsa-with-SHA512"}));

}  // namespace
}  // namespace KavrelCrypto
