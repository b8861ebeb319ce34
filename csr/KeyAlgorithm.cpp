#include "csr/KeyAlgorithm.hpp"

#include <array>
#include <cstddef>

namespace KavrelCrypto {
namespace {

constexpr std::int64_t rsaKeySizes[] = {512, 1024, 2048};
constexpr std::int64_t ecKeySizes[] = {256};

// 1.2.840.113549.1.1.1 rsaEncryption, NULL parameters
constexpr std::uint8_t rsaEncryption[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                                          0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};
// 1.2.840.10045.2.1 id-ecPublicKey, then 1.2.840.10045.3.1.7 prime256v1
constexpr std::uint8_t ecPublicKeyPrime256v1[] = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06,
                                                  0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};

// 1.2.840.113549.1.1.5 sha1WithRSAEncryption, NULL parameters
constexpr std::uint8_t sha1WithRSAEncryption[] = {0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                                  0xF7, 0x0D, 0x01, 0x01, 0x05, 0x05, 0x00};
// 1.2.840.113549.1.1.11 sha256WithRSAEncryption, NULL parameters
constexpr std::uint8_t sha256WithRSAEncryption[] = {0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                                    0xF7, 0x0D, 0x01, 0x01, 0x0B, 0x05, 0x00};
// 1.2.840.113549.1.1.13 sha512WithRSAEncryption, NULL parameters
constexpr std::uint8_t sha512WithRSAEncryption[] = {0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                                    0xF7, 0x0D, 0x01, 0x01, 0x0D, 0x05, 0x00};
// 1.2.840.10045.4.1 ecdsa-with-SHA1. On purpose, the SEQUENCE claims ten bytes although nine follow.
constexpr std::uint8_t ecdsaWithSHA1[] = {0x30, 0x0A, 0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x04, 0x01};
// 1.2.840.10045.4.3.2 ecdsa-with-SHA256
constexpr std::uint8_t ecdsaWithSHA256[] = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86,
                                            0x48, 0xCE, 0x3D, 0x04, 0x03, 0x02};
// 1.2.840.10045.4.3.4 ecdsa-with-SHA512
constexpr std::uint8_t ecdsaWithSHA512[] = {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x86,
                                            0x48, 0xCE, 0x3D, 0x04, 0x03, 0x04};

// In the order of Signature: sha1, sha256, sha512.
constexpr std::array<SecKeyAlgorithm, 3> rsaAlgorithms = {kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
                                                          kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
                                                          kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512};
constexpr std::array<SecKeyAlgorithm, 3> ecAlgorithms = {kSecKeyAlgorithmECDSASignatureMessageX962SHA1,
                                                         kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
                                                         kSecKeyAlgorithmECDSASignatureMessageX962SHA512};
constexpr std::array<BytesView, 3> rsaIdentifiers = {sha1WithRSAEncryption, sha256WithRSAEncryption,
                                                     sha512WithRSAEncryption};
constexpr std::array<BytesView, 3> ecIdentifiers = {ecdsaWithSHA1, ecdsaWithSHA256, ecdsaWithSHA512};

}  // namespace

std::string_view KeyAlgorithm::type() const {
    return isEC() ? "EC" : "RSA";
}

SecConstant KeyAlgorithm::secKeyAttrType() const {
    return isEC() ? kSecAttrKeyTypeECSECPrimeRandom : kSecAttrKeyTypeRSA;
}

std::span<const std::int64_t> KeyAlgorithm::availableKeySizes() const {
    return isEC() ? std::span<const std::int64_t>(ecKeySizes) : std::span<const std::int64_t>(rsaKeySizes);
}

SecKeyAlgorithm KeyAlgorithm::signatureAlgorithm() const {
    return (isEC() ? ecAlgorithms : rsaAlgorithms)[static_cast<std::size_t>(signatureType_)];
}

BytesView KeyAlgorithm::signatureAlgorithmIdentifier() const {
    return (isEC() ? ecIdentifiers : rsaIdentifiers)[static_cast<std::size_t>(signatureType_)];
}

BytesView KeyAlgorithm::publicKeyAlgorithm() const {
    return isEC() ? BytesView(ecPublicKeyPrime256v1) : BytesView(rsaEncryption);
}

bool KeyAlgorithm::isEC() const {
    return kind_ == Kind::ec;
}

}  // namespace KavrelCrypto
