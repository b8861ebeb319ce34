#include <functional>
#include <gtest/gtest.h>
#include <span>
#include <vector>

#include "csr/KeyAlgorithm.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using Signature = KeyAlgorithm::Signature;

struct Row {
    const char* name;
    KeyAlgorithm algorithm;
    const char* type;
    SecConstant keyType;
    std::vector<std::int64_t> sizes;
    SecKeyAlgorithm signatureAlgorithm;
    const char* identifier;
};

const Row algorithms[] = {
    {"rsa sha1",
     KeyAlgorithm::rsa(Signature::sha1),
     "RSA",
     kSecAttrKeyTypeRSA,
     {512, 1024, 2048},
     kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 05 05 00"},
    {"rsa sha256",
     KeyAlgorithm::rsa(Signature::sha256),
     "RSA",
     kSecAttrKeyTypeRSA,
     {512, 1024, 2048},
     kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00"},
    {"rsa sha512",
     KeyAlgorithm::rsa(Signature::sha512),
     "RSA",
     kSecAttrKeyTypeRSA,
     {512, 1024, 2048},
     kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 0D 05 00"},
    {"ec sha1",
     KeyAlgorithm::ec(Signature::sha1),
     "EC",
     kSecAttrKeyTypeECSECPrimeRandom,
     {256},
     kSecKeyAlgorithmECDSASignatureMessageX962SHA1,
     "30 0A 06 07 2A 86 48 CE 3D 04 01"},
    {"ec sha256",
     KeyAlgorithm::ec(Signature::sha256),
     "EC",
     kSecAttrKeyTypeECSECPrimeRandom,
     {256},
     kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
     "30 0A 06 08 2A 86 48 CE 3D 04 03 02"},
    {"ec sha512",
     KeyAlgorithm::ec(Signature::sha512),
     "EC",
     kSecAttrKeyTypeECSECPrimeRandom,
     {256},
     kSecKeyAlgorithmECDSASignatureMessageX962SHA512,
     "30 0A 06 08 2A 86 48 CE 3D 04 03 04"},
};

/// Copies a view into a form that can be compared and printed.
template <typename T>
std::vector<T> elements(std::span<const T> view) {
    return {view.begin(), view.end()};
}

TEST(KeyAlgorithm, HasItsOwnValuesForEachKindAndDigest) {
    for (const Row& row : algorithms) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.algorithm.type(), row.type);
        EXPECT_EQ(row.algorithm.secKeyAttrType(), row.keyType);
        EXPECT_EQ(elements(row.algorithm.availableKeySizes()), row.sizes);
        EXPECT_EQ(row.algorithm.signatureAlgorithm(), row.signatureAlgorithm);
        EXPECT_EQ(elements(row.algorithm.signatureAlgorithmIdentifier()), hex(row.identifier));
    }
}

TEST(KeyAlgorithm, ClaimsTenBytesForTheNineOfEcdsaWithSHA1) {
    const BytesView identifier = KeyAlgorithm::ec(Signature::sha1).signatureAlgorithmIdentifier();
    EXPECT_EQ(identifier.size(), 11U);
    EXPECT_EQ(identifier[1], 10);
}

TEST(KeyAlgorithm, HasAPublicKeyAlgorithmThatDependsOnTheKindAlone) {
    for (const Signature digest : {Signature::sha1, Signature::sha256, Signature::sha512}) {
        EXPECT_EQ(elements(KeyAlgorithm::rsa(digest).publicKeyAlgorithm()),
                  hex("06 09 2A 86 48 86 F7 0D 01 01 01 05 00"));
        EXPECT_EQ(elements(KeyAlgorithm::ec(digest).publicKeyAlgorithm()),
                  hex("06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07"));
    }
}

TEST(KeyAlgorithmSignature, EqualsOnlyItselfAndHashesByItsCase) {
    EXPECT_EQ(Signature::sha1, Signature::sha1);
    EXPECT_NE(Signature::sha1, Signature::sha256);
    EXPECT_NE(Signature::sha256, Signature::sha512);
    EXPECT_NE(std::hash<Signature>()(Signature::sha1), std::hash<Signature>()(Signature::sha512));
    EXPECT_EQ(static_cast<int>(Signature::sha1), 0);
    EXPECT_EQ(static_cast<int>(Signature::sha512), 2);
}

template <typename T>
concept Equatable = requires(const T& value) {
    value == value;
};

TEST(KeyAlgorithm, CannotBeCompared) {
    EXPECT_FALSE(Equatable<KeyAlgorithm>);
}

}  // namespace
}  // namespace KavrelCrypto
