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
    KeyAlgorithm algorithm;
    SecKeyAlgorithm signatureAlgorithm;
    const char* identifier;
};

const Row rsaRows[] = {
    {KeyAlgorithm::rsa(Signature::sha1), kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 05 05 00"},
    {KeyAlgorithm::rsa(Signature::sha256), kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00"},
    {KeyAlgorithm::rsa(Signature::sha512), kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512,
     "30 0D 06 09 2A 86 48 86 F7 0D 01 01 0D 05 00"},
};

// The first claims ten bytes for nine.
const Row ecRows[] = {
    {KeyAlgorithm::ec(Signature::sha1), kSecKeyAlgorithmECDSASignatureMessageX962SHA1,
     "30 0A 06 07 2A 86 48 CE 3D 04 01"},
    {KeyAlgorithm::ec(Signature::sha256), kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
     "30 0A 06 08 2A 86 48 CE 3D 04 03 02"},
    {KeyAlgorithm::ec(Signature::sha512), kSecKeyAlgorithmECDSASignatureMessageX962SHA512,
     "30 0A 06 08 2A 86 48 CE 3D 04 03 04"},
};

/// Copies a view into a form that can be compared and printed.
template <typename T>
std::vector<T> elements(std::span<const T> view) {
    return {view.begin(), view.end()};
}

/// Expects what the algorithms of a kind have in common, and what each has of its own.
void expectKind(std::span<const Row> rows, const char* type, SecConstant keyType,
                const std::vector<std::int64_t>& sizes, const char* publicKeyAlgorithm) {
    for (const auto& [algorithm, signatureAlgorithm, identifier] : rows) {
        SCOPED_TRACE(identifier);
        EXPECT_EQ(algorithm.type(), type);
        EXPECT_EQ(algorithm.secKeyAttrType(), keyType);
        EXPECT_EQ(elements(algorithm.availableKeySizes()), sizes);
        EXPECT_EQ(elements(algorithm.publicKeyAlgorithm()), hex(publicKeyAlgorithm));
        EXPECT_EQ(algorithm.signatureAlgorithm(), signatureAlgorithm);
        EXPECT_EQ(elements(algorithm.signatureAlgorithmIdentifier()), hex(identifier));
    }
}

TEST(KeyAlgorithm, HasItsOwnValuesForEachKindAndDigest) {
    expectKind(rsaRows, "RSA", kSecAttrKeyTypeRSA, {512, 1024, 2048},
               "06 09 2A 86 48 86 F7 0D 01 01 01 05 00");
    expectKind(ecRows, "EC", kSecAttrKeyTypeECSECPrimeRandom, {256},
               "06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07");
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
