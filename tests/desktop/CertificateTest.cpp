// Certificates of every kind, made by the openssl command, whole and in pieces, on the desktop device.

#include <algorithm>
#include <gmock/gmock.h>

#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

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
    const char* makeKey;     // a shell command that writes key.pem
    std::size_t exportSize;  // of the certificate's key; 0 when the platform has no use for it
    std::size_t blockSize;
};

class SecCertificates : public testing::TestWithParam<CertificateCase> {
  protected:
    [[nodiscard]] Bytes made(const std::string& makeKey) const {
        const Outcome outcome = run(
            "cd " + quoted(folder.path()) + " && " + makeKey +
            " && openssl req -x509 -new -key key.pem -subj /CN=test -days 1 -outform DER -out certificate");
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        return readFile(folder.path() / "certificate");
    }

    const TemporaryFolder folder;
};

TEST_P(SecCertificates, GiveTheKeyThatThePlatformCanUse) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(made(GetParam().makeKey));
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
    const Bytes whole = made(GetParam().makeKey);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(SecCertificateCreateWithData(BytesView(whole).first(length)), nullptr) << length;
    }
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        Bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        useAsCertificate(flipped);
    }
}

const auto kinds = testing::Values(
    CertificateCase{"RSA", "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem", 270,
                    256},
    CertificateCase{"P256", "openssl ecparam -name prime256v1 -genkey -noout -out key.pem", 65, 32},
    CertificateCase{"P256Compressed",
                    "openssl ecparam -name prime256v1 -genkey -noout -out whole.pem"
                    " && openssl ec -in whole.pem -conv_form compressed -out key.pem 2>/dev/null",
                    65, 32},
    CertificateCase{"P384", "openssl ecparam -name secp384r1 -genkey -noout -out key.pem", 97, 48},
    CertificateCase{"P521", "openssl ecparam -name secp521r1 -genkey -noout -out key.pem", 133, 66},
    CertificateCase{"Koblitz", "openssl ecparam -name secp256k1 -genkey -noout -out key.pem", 0, 0},
    CertificateCase{"Brainpool", "openssl ecparam -name brainpoolP256r1 -genkey -noout -out key.pem", 0, 0},
    CertificateCase{"Binary", "openssl ecparam -name sect283k1 -genkey -noout -out key.pem", 0, 0},
    CertificateCase{"Ed25519", "openssl genpkey -algorithm ED25519 -out key.pem", 0, 0},
    CertificateCase{"Ed448", "openssl genpkey -algorithm ED448 -out key.pem", 0, 0},
    CertificateCase{"RSAPSS", "openssl genpkey -algorithm RSA-PSS -pkeyopt rsa_keygen_bits:1024 -out key.pem",
                    0, 0},
    CertificateCase{
        "DSA",
        "openssl dsaparam -out parameters 1024 2>/dev/null && openssl gendsa -out key.pem parameters "
        "2>/dev/null",
        0, 0});

INSTANTIATE_TEST_SUITE_P(Kinds, SecCertificates, kinds, [](const auto& kind) { return kind.param.name; });
INSTANTIATE_TEST_SUITE_P(Kinds, LongSecCertificates, kinds, [](const auto& kind) { return kind.param.name; });

TEST_F(SecCertificates, GiveTheVeryKeyThatOpenSSLPutIn) {
    const Bytes der = made("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out key.pem");
    const Outcome outcome = run("cd " + quoted(folder.path()) +
                                " && openssl rsa -in key.pem -RSAPublicKey_out -outform DER -out public");
    ASSERT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(SecKeyCopyExternalRepresentation(keyOf(SecCertificateCreateWithData(der)), nullptr),
              readFile(folder.path() / "public"));
}

TEST_F(SecCertificates, WithAKeyThatSignsNothingGiveNone) {
    const Outcome outcome = run(
        "cd " + quoted(folder.path()) +
        " && openssl genpkey -algorithm X25519 -out x.pem && openssl pkey -in x.pem -pubout -out public.pem" +
        " && openssl genpkey -algorithm ED25519 -out key.pem" +
        " && openssl req -new -key key.pem -subj /CN=test -out request.pem" +
        " && openssl x509 -req -in request.pem -signkey key.pem -force_pubkey public.pem -outform DER" +
        " -out certificate");
    ASSERT_EQ(outcome.status, 0) << outcome.output;
    const SecCertificateRef certificate =
        SecCertificateCreateWithData(readFile(folder.path() / "certificate"));
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(keyOf(certificate), nullptr);
}

TEST_F(SecCertificates, WithAKeyThatIsNotWholeBytesGiveNone) {
    Bytes der = made("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out key.pem");
    const Bytes key =
        SecKeyCopyExternalRepresentation(keyOf(SecCertificateCreateWithData(der)), nullptr).value();
    const auto found = std::search(der.begin(), der.end(), key.begin(), key.end());
    ASSERT_NE(found, der.end());
    std::uint8_t& unusedBits = *(found - 1);
    for (unusedBits = 0; unusedBits < 8; ++unusedBits) {
        const SecCertificateRef certificate = SecCertificateCreateWithData(der);
        ASSERT_NE(certificate, nullptr);
        EXPECT_EQ(keyOf(certificate) != nullptr, unusedBits == 0);
    }
}

TEST_F(SecCertificates, MayBeFollowedByAnything) {
    const Bytes der = made("openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out key.pem");
    const auto key = SecKeyCopyExternalRepresentation(keyOf(SecCertificateCreateWithData(der)), nullptr);
    for (const Bytes& behind : {hex("00"), hex("30 80"), Bytes(1 << 20, 0xFF), der}) {
        const SecCertificateRef certificate = SecCertificateCreateWithData(der + behind);
        ASSERT_NE(certificate, nullptr);
        EXPECT_EQ(SecKeyCopyExternalRepresentation(keyOf(certificate), nullptr), key);
    }
}

TEST_F(SecCertificates, AreNotMadeOfAnythingElse) {
    EXPECT_EQ(SecCertificateCreateWithData({}), nullptr);
    EXPECT_EQ(SecCertificateCreateWithData(bytesOf("-----BEGIN CERTIFICATE-----")), nullptr);
    EXPECT_EQ(SecCertificateCreateWithData(hex("30 80 00 00")), nullptr);
    EXPECT_EQ(SecCertificateCreateWithData(Bytes(1 << 20, 0x30)), nullptr);
}

TEST_F(SecCertificates, AreNeededForATrustObject) {
    const SecCertificateRef certificate =
        SecCertificateCreateWithData(made("openssl genpkey -algorithm ED25519 -out key.pem"));
    SecTrustRef trust;
    EXPECT_EQ(SecTrustCreateWithCertificates(nullptr, SecPolicyCreateBasicX509(), &trust), errSecParam);
    EXPECT_EQ(SecTrustCreateWithCertificates(certificate, nullptr, &trust), errSecParam);
    EXPECT_EQ(trust, nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
