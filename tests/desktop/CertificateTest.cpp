// Certificates of every kind, made by OpenSSL, whole and in pieces, on the desktop device.

#include <gtest/gtest.h>
#include <openssl/core_names.h>

#include "platform/Security.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto {
namespace {

SecKeyRef keyOf(const SecCertificateRef& certificate) {
    SecTrustRef trust;
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust), errSecSuccess);
    return SecTrustCopyKey(trust);
}

/// Does with `data` all that the device can do with a certificate.
void useAsCertificate(BytesView data) {
    if (const SecCertificateRef certificate = SecCertificateCreateWithData(data)) {
        if (const SecKeyRef key = keyOf(certificate)) {
            SecKeyCopyExternalRepresentation(key, nullptr);
            SecKeyGetBlockSize(key);
            for (const SecKeyAlgorithm algorithm : {kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
                                                    kSecKeyAlgorithmECDSASignatureMessageX962SHA256}) {
                SecKeyVerifySignature(key, algorithm, bytesOf("x"), bytesOf("y"), nullptr);
            }
        }
    }
}

struct CertificateCase {
    const char* name;
    OpenSSL::Key (*makeKey)();
    std::size_t exportSize;  // of the certificate's key; 0 when the platform has no use for it
    std::size_t blockSize;
};

class SecCertificates : public testing::TestWithParam<CertificateCase> {
  protected:
    const Bytes whole = OpenSSL::certificate(GetParam().makeKey());
};

TEST_P(SecCertificates, GiveTheKeyThatThePlatformCanUse) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(whole);
    ASSERT_NE(certificate, nullptr);
    const SecKeyRef key = keyOf(certificate);
    ASSERT_EQ(key != nullptr, GetParam().exportSize > 0);
    if (key != nullptr) {
        EXPECT_EQ(SecKeyCopyExternalRepresentation(key, nullptr).value().size(), GetParam().exportSize);
        EXPECT_EQ(SecKeyGetBlockSize(key), GetParam().blockSize);
    }
}

class LongSecCertificates : public SecCertificates {};

TEST_P(LongSecCertificates, CutShortAreNoneAndWithAnyBitFlippedDoNoHarm) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(SecCertificateCreateWithData(BytesView(whole).first(length)), nullptr) << length;
    }
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        Bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        useAsCertificate(flipped);
    }
}

OpenSSL::Key compressed(const OpenSSL::Key& key) {
    EVP_PKEY_set_utf8_string_param(key.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed");
    return key;
}

const auto kinds = testing::Values(
    CertificateCase{"RSA", [] { return OpenSSL::newRSAKey(2048); }, 270, 256},
    CertificateCase{"P256", [] { return OpenSSL::newECKey("P-256"); }, 65, 32},
    CertificateCase{"P256Compressed", [] { return compressed(OpenSSL::newECKey("P-256")); }, 65, 32},
    CertificateCase{"P384", [] { return OpenSSL::newECKey("P-384"); }, 97, 48},
    CertificateCase{"P521", [] { return OpenSSL::newECKey("P-521"); }, 133, 66},
    CertificateCase{"Koblitz", [] { return OpenSSL::newECKey("secp256k1"); }, 0, 0},
    CertificateCase{"Brainpool", [] { return OpenSSL::newECKey("brainpoolP256r1"); }, 0, 0},
    CertificateCase{"Binary", [] { return OpenSSL::newECKey("sect283k1"); }, 0, 0},
    CertificateCase{"Ed25519", [] { return OpenSSL::newKey("ED25519"); }, 0, 0},
    CertificateCase{"X25519", [] { return OpenSSL::newKey("X25519"); }, 0, 0},
    CertificateCase{"RSAPSS", [] { return OpenSSL::forPSSOnly(OpenSSL::newRSAKey(1024)); }, 0, 0});

INSTANTIATE_TEST_SUITE_P(Kinds, SecCertificates, kinds, [](const auto& kind) { return kind.param.name; });
INSTANTIATE_TEST_SUITE_P(Kinds, LongSecCertificates, kinds, [](const auto& kind) { return kind.param.name; });

TEST(SecTrust, NeedsACertificateAndAPolicy) {
    const SecCertificateRef certificate =
        SecCertificateCreateWithData(OpenSSL::certificate(OpenSSL::newKey("ED25519")));
    SecTrustRef trust;
    EXPECT_EQ(SecTrustCreateWithCertificates(nullptr, SecPolicyCreateBasicX509(), &trust), errSecParam);
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, nullptr, &trust), errSecParam);
    EXPECT_EQ(trust, nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
