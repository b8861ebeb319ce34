#include <gmock/gmock.h>

#include "csr/CertificateSigningRequest.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::NotNull;
using testing::Return;
using CSR = CertificateSigningRequest;
using Signature = KeyAlgorithm::Signature;

const KeyAlgorithm ecSHA256 = KeyAlgorithm::ec(Signature::sha256);
const Bytes point = hex("04") + Bytes(64, 0x55);
const Bytes pointInfo =
    hex("30 59 30 13 06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07 03 42 00") + point;

Bytes enclosed(Bytes content, std::uint8_t tag = 0x30) {
    CSR::enclose(content, tag);
    return content;
}

/// Expects the CertificationRequestInfo for `values` and the P-256 point to hold `subject` and `attributes`.
void expectInfo(CSR::Values values, const Bytes& subject, const Bytes& attributes = hex("A0 00")) {
    values.keyAlgorithm = ecSHA256;
    EXPECT_EQ(CSR(std::move(values)).buldCertificationRequestInfo(point),
              enclosed(hex("02 01 00") + enclosed(subject) + pointInfo + attributes));
}

TEST(CertificateSigningRequestBuildPublicKeyInfo, WritesThePointOfAP256KeyAfterTheCurve) {
    EXPECT_EQ(CSR({.keyAlgorithm = ecSHA256}).buildPublicKeyInfo(point), pointInfo);
    EXPECT_EQ(pointInfo.size(), 91U);
}

TEST(CertificateSigningRequestBuildPublicKeyInfo, WritesTheIntegersOfAnRSAKeyUnchanged) {
    const Bytes modulus = hex("00") + Bytes(256, 0xC7);
    const Bytes key = hex("30 82 01 0A 02 82 01 01") + modulus + hex("02 03 01 00 01");
    const Bytes info = CSR().buildPublicKeyInfo(key);
    EXPECT_EQ(info,
              hex("30 82 01 22 30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00 03 82 01 0F 00 30 82 01 0A 02 82 "
                  "01 01") +
                  modulus + hex("02 03 01 00 01"));
    EXPECT_EQ(info.size(), 294U);
}

TEST(CertificateSigningRequestBuildPublicKeyInfo, DropsWhatFollowsThePoint) {
    EXPECT_EQ(CSR({.keyAlgorithm = ecSHA256}).buildPublicKeyInfo(point + hex("EE")), pointInfo);
}

TEST(CertificateSigningRequestBuildPublicKeyInfo, StopsTheProcessForAPointThatIsTooShort) {
    const CSR request({.keyAlgorithm = ecSHA256});
    EXPECT_DEATH(static_cast<void>(request.buildPublicKeyInfo(Bytes(point.begin(), point.end() - 1))),
                 "an elliptic-curve public key must have at least 65 bytes");
    EXPECT_DEATH(static_cast<void>(request.buildPublicKeyInfo({})),
                 "an elliptic-curve public key must not be empty");
}

TEST(CertificateSigningRequestBuildPublicKeyInfo,
     PrintsALineForAPointOfAnotherFormAndUsesItsFirst65BytesAllTheSame) {
    ScriptedDevice device;
    EXPECT_CALL(device, print("Error, framework only supports uncompressed keys"));
    Bytes other = point;
    other[0] = 0x06;
    EXPECT_EQ(CSR({.keyAlgorithm = ecSHA256}).buildPublicKeyInfo(other),
              hex("30 59 30 13 06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07 03 42 00") + other);
}

TEST(CertificateSigningRequestBuldCertificationRequestInfo, WritesAnEmptyValueAndNothingForOneThatIsAbsent) {
    expectInfo({}, {});
    expectInfo({.commonName = ""}, hex("31 09 30 07 06 03 55 04 03 0C 00"));
}

TEST(CertificateSigningRequestBuldCertificationRequestInfo, WritesTheAttributesInItsOwnOrder) {
    expectInfo(
        {
            .commonName = "f",
            .serialNumber = "i",
            .organizationName = "d",
            .organizationUnitName = "e",
            .countryName = "a",
            .stateOrProvinceName = "b",
            .localityName = "c",
            .emailAddress = "k",
            .csrDescription = "l",
            .surName = "g",
            .givenName = "h",
            .postalCode = "j",
        },
        hex("31 0A 30 08 06 03 55 04 06 0C 01 61"                     // countryName
            " 31 0A 30 08 06 03 55 04 08 0C 01 62"                    // stateOrProvinceName
            " 31 0A 30 08 06 03 55 04 07 0C 01 63"                    // localityName
            " 31 0A 30 08 06 03 55 04 0A 0C 01 64"                    // organizationName
            " 31 0A 30 08 06 03 55 04 0B 0C 01 65"                    // organizationalUnitName
            " 31 0A 30 08 06 03 55 04 03 0C 01 66"                    // commonName
            " 31 0A 30 08 06 03 55 04 04 0C 01 67"                    // surname
            " 31 0A 30 08 06 03 55 04 2A 0C 01 68"                    // givenName
            " 31 0A 30 08 06 03 55 04 05 13 01 69"                    // serialNumber
            " 31 0A 30 08 06 03 55 04 11 13 01 6A"                    // postalCode
            " 31 10 30 0E 06 09 2A 86 48 86 F7 0D 01 09 01 16 01 6B"  // emailAddress
            " 31 0A 30 08 06 03 55 04 0D 0C 01 6C"));                 // description
}

TEST(CertificateSigningRequestBuldCertificationRequestInfo, AsksForTheKeyPurposesInACriticalExtension) {
    expectInfo({.includeEkuExtensions = true}, {},
               hex("A0 35 30 33 06 09 2A 86 48 86 F7 0D 01 09 0E 31 26 30 24 30 22 06 03 55 1D 25 01 01 FF "
                   "04 18 30 16 "
                   "06 0A 2B 06 01 04 01 82 37 0A 03 0C 06 08 2B 06 01 05 05 07 03 02"));
}

class CertificateSigningRequestBuild : public testing::Test {
  protected:
    const CSR request = CSR({.commonName = "AB", .keyAlgorithm = ecSHA256});
    const Bytes info = request.buldCertificationRequestInfo(point);

    void expectSignature(std::optional<Bytes> signature) {
        EXPECT_CALL(device, SecKeyCreateSignature(privateKey, kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
                                                  info, NotNull()))
            .WillOnce(Return(std::move(signature)));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const SecKeyRef privateKey = newKey();
    const SecKeyRef publicKey = newKey();
};

TEST_F(CertificateSigningRequestBuild, PutsInformationAlgorithmAndSignatureTogether) {
    expectSignature(hex("AA BB"));
    EXPECT_CALL(device, SecKeyVerifySignature(publicKey, kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
                                              info, hex("AA BB"), NotNull()))
        .WillOnce(Return(true));
    EXPECT_EQ(request.build(point, privateKey, publicKey),
              enclosed(info + hex("30 0A 06 08 2A 86 48 CE 3D 04 03 02") + hex("03 03 00 AA BB")));
}

TEST_F(CertificateSigningRequestBuild, SignsWithRSAAndSHA512ByDefault) {
    EXPECT_CALL(device, SecKeyCreateSignature(
                            privateKey, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512,
                            hex("30 23 02 01 00 30 00 30 1A 30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00 03 "
                                "09 00 30 06 02 01 05 02 01 03 A0 00"),
                            NotNull()))
        .WillOnce(Return(hex("AA")));
    EXPECT_EQ(CSR().build(hex("30 06 02 01 05 02 01 03"), privateKey, nullptr),
              hex("30 38 30 23 02 01 00 30 00 30 1A 30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00 03 09 00 30 "
                  "06 02 01 "
                  "05 02 01 03 A0 00 30 0D 06 09 2A 86 48 86 F7 0D 01 01 0D 05 00 03 02 00 AA"));
}

TEST_F(CertificateSigningRequestBuild, CarriesTheMalformedIdentifierOfEcdsaWithSHA1Unchanged) {
    const CSR malformed({.commonName = "AB", .keyAlgorithm = KeyAlgorithm::ec(Signature::sha1)});
    EXPECT_CALL(device, SecKeyCreateSignature(privateKey, kSecKeyAlgorithmECDSASignatureMessageX962SHA1, info,
                                              NotNull()))
        .WillOnce(Return(hex("AA")));
    EXPECT_EQ(malformed.build(point, privateKey, nullptr),
              enclosed(info + hex("30 0A 06 07 2A 86 48 CE 3D 04 01") + hex("03 02 00 AA")));
}

TEST_F(CertificateSigningRequestBuild, PrintsWhySigningFailedIfThePlatformSaysWhy) {
    EXPECT_CALL(device, SecKeyCreateSignature)
        .WillOnce(failsWith<3>(errorPrintedAsPrinted(), std::optional<Bytes>()));
    EXPECT_CALL(device, print("Error in creating signature: printed"));
    EXPECT_EQ(request.build(point, privateKey, publicKey), std::nullopt);
    expectSignature(std::nullopt);
    EXPECT_EQ(request.build(point, privateKey, publicKey), std::nullopt);
}

TEST_F(CertificateSigningRequestBuild, PrintsWhyTheSignatureDoesNotVerifyIfThePlatformSaysWhy) {
    expectSignature(hex("AA"));
    EXPECT_CALL(device, SecKeyVerifySignature).WillOnce(failsWith<4>(errorPrintedAsPrinted(), false));
    EXPECT_CALL(device, print("printed"));
    EXPECT_EQ(request.build(point, privateKey, publicKey), std::nullopt);
    expectSignature(hex("AA"));
    EXPECT_CALL(device, SecKeyVerifySignature).WillOnce(Return(false));
    EXPECT_EQ(request.build(point, privateKey, publicKey), std::nullopt);
}

TEST_F(CertificateSigningRequestBuild, AcceptsASignatureOf256BytesAndNoLongerOne) {
    expectSignature(Bytes(256, 0xAA));
    EXPECT_EQ(request.build(point, privateKey, nullptr),
              enclosed(info + hex("30 0A 06 08 2A 86 48 CE 3D 04 03 02") + hex("03 82 01 01 00") +
                       Bytes(256, 0xAA)));
    expectSignature(Bytes(257, 0xAA));
    EXPECT_EQ(request.build(point, privateKey, nullptr), std::nullopt);
}

TEST_F(CertificateSigningRequestBuild, StopsTheProcessWithoutAnAlgorithm) {
    EXPECT_DEATH(static_cast<void>(CSR({.keyAlgorithm = std::nullopt}).build(point, privateKey, nullptr)),
                 "a certification request must have a key algorithm");
}

}  // namespace
}  // namespace KavrelCrypto
