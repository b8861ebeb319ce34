// The certificate and trust operations of the Apple device.

#include <gtest/gtest.h>
#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "apple/AppleDeviceTest.hpp"
#include "platform/Security.hpp"
#include "support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using AppleStandIns::failNext;
using AppleStandIns::Nothing;

struct Issued {
    Bytes certificate;
    Bytes publicKey;
};

/// A self-signed certificate for a P-256 key: quickly made, and its key exports as a point of 65 bytes.
Issued issue() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    X509_set_pubkey(certificate.get(), key.get());
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 60);
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    Issued issued;
    issued.certificate.resize(static_cast<std::size_t>(i2d_X509(certificate.get(), nullptr)));
    std::uint8_t* out = issued.certificate.data();
    i2d_X509(certificate.get(), &out);
    issued.publicKey.resize(static_cast<std::size_t>(i2d_PublicKey(key.get(), nullptr)));
    out = issued.publicKey.data();
    i2d_PublicKey(key.get(), &out);
    return issued;
}

class AppleCertificates : public AppleDeviceTest {
  protected:
    const Issued issued = issue();
};

TEST_F(AppleCertificates, GiveUpTheirPublicKeyThroughATrustObject) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(issued.certificate);
    ASSERT_NE(certificate, nullptr);
    SecTrustRef trust;
    ASSERT_EQ(SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust), errSecSuccess);
    const SecKeyRef key = SecTrustCopyKey(trust);
    ASSERT_NE(key, nullptr);

    EXPECT_EQ(SecKeyCopyExternalRepresentation(key, nullptr), issued.publicKey);
}

TEST_F(AppleCertificates, AreMadeFromTheBytesThatTheyBeginWhateverFollows) {
    const Issued another = issue();
    for (const Bytes& behind : {Bytes{0x00}, Bytes(100, 0xFF), issued.certificate, another.certificate}) {
        SecTrustRef trust;
        SecTrustCreateWithCertificates(SecCertificateCreateWithData(issued.certificate + behind),
                                       SecPolicyCreateBasicX509(), &trust);
        ASSERT_NE(trust, nullptr);
        EXPECT_EQ(SecKeyCopyExternalRepresentation(SecTrustCopyKey(trust), nullptr), issued.publicKey);
    }
}

TEST_F(AppleCertificates, AreNotMadeFromOtherBytes) {
    EXPECT_EQ(SecCertificateCreateWithData({}), nullptr);
    EXPECT_EQ(SecCertificateCreateWithData(Bytes{0x30, 0x00}), nullptr);
    EXPECT_EQ(SecCertificateCreateWithData(Bytes{0x00} + issued.certificate), nullptr);
    Bytes cut = issued.certificate;
    cut.pop_back();
    EXPECT_EQ(SecCertificateCreateWithData(cut), nullptr);
}

TEST_F(AppleCertificates, AreNotMadeFromBERThatIsNotDER) {
    // SEQUENCE, of a length in two bytes, which is put in three and in the indefinite form.
    ASSERT_EQ(issued.certificate[1], 0x81);
    Bytes longer = issued.certificate;
    longer[1] = 0x82;
    longer.insert(longer.begin() + 2, 0x00);
    EXPECT_EQ(SecCertificateCreateWithData(longer), nullptr);
    Bytes indefinite = issued.certificate;
    indefinite[1] = 0x80;
    indefinite.erase(indefinite.begin() + 2);
    EXPECT_EQ(SecCertificateCreateWithData(indefinite + Bytes{0x00, 0x00}), nullptr);
}

TEST_F(AppleCertificates, HaveNoPolicyWhereTheFrameworkGivesNone) {
    failNext("SecPolicyCreateBasicX509", Nothing{});

    EXPECT_EQ(SecPolicyCreateBasicX509(), nullptr);
}

TEST_F(AppleCertificates, AreTakenIntoATrustObjectWithoutAPolicy) {
    SecTrustRef trust;

    EXPECT_EQ(
        SecTrustCreateWithCertificates(SecCertificateCreateWithData(issued.certificate), nullptr, &trust),
        errSecSuccess);
    EXPECT_NE(trust, nullptr);
}

TEST_F(AppleCertificates, PassTheStatusOnThatTheTrustObjectCannotBeMade) {
    failNext("SecTrustCreateWithCertificates", errSecParam);

    SecTrustRef trust;
    EXPECT_EQ(SecTrustCreateWithCertificates(SecCertificateCreateWithData(issued.certificate),
                                             SecPolicyCreateBasicX509(), &trust),
              errSecParam);
    EXPECT_EQ(trust, nullptr);
}

TEST_F(AppleCertificates, HaveNoTrustObjectWhereTheFrameworkSucceedsWithoutOne) {
    failNext("SecTrustCreateWithCertificates", Nothing{});

    SecTrustRef trust;
    EXPECT_EQ(SecTrustCreateWithCertificates(SecCertificateCreateWithData(issued.certificate),
                                             SecPolicyCreateBasicX509(), &trust),
              errSecSuccess);
    EXPECT_EQ(trust, nullptr);
}

TEST_F(AppleCertificates, HaveNoPublicKeyWhereTheFrameworkGivesNone) {
    SecTrustRef trust;
    SecTrustCreateWithCertificates(SecCertificateCreateWithData(issued.certificate),
                                   SecPolicyCreateBasicX509(), &trust);
    failNext("SecTrustCopyKey", Nothing{});

    EXPECT_EQ(SecTrustCopyKey(trust), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
