#include <gmock/gmock.h>

#include "csr/CryptoUtils.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::IsNull;
using testing::NotNull;
using testing::Pair;
using testing::Return;

const KeyAlgorithm rsa = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256);
const KeyAlgorithm ec = KeyAlgorithm::ec(KeyAlgorithm::Signature::sha256);

CFDictionary half(const char* tag) {
    return {
        {kSecAttrIsPermanent, true},
        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
        {kSecAttrApplicationTag, bytesOf(tag)},
    };
}

CFDictionary publicLookup(SecConstant keyType) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrKeyType, keyType},
        {kSecAttrApplicationTag, bytesOf("public")},
        {kSecReturnRef, true},
    };
}

class CryptoUtilsTest : public testing::Test {
  protected:
    std::pair<SecKeyRef, SecKeyRef> generate(const KeyAlgorithm& algorithm, std::int64_t size) {
        return utils.generateKeysAndStoreInKeychain(algorithm, size, "private", "public");
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const CryptoUtils utils;
    const SecKeyRef privateKey = newKey();
    const SecKeyRef publicKey = newKey();
};

using CryptoUtilsTags = CryptoUtilsTest;
using CryptoUtilsLoadKey = CryptoUtilsTest;
using CryptoUtilsGenerateKeys = CryptoUtilsTest;

TEST_F(CryptoUtilsTags, HaveNoDotBeforeTheAlias) {
    EXPECT_EQ(utils.privateTag("0012345678"), "com.kavrel.app.privatekey0012345678");
    EXPECT_EQ(utils.publicTag("0012345678"), "com.kavrel.app.publickey0012345678");
}

TEST_F(CryptoUtilsLoadKey, LooksAnRSAKeyUpByItsTag) {
    expectKeyLookup(device, "tag", publicKey);
    EXPECT_EQ(utils.loadKey("tag"), publicKey);
}

TEST_F(CryptoUtilsLoadKey, FindsNothingWhateverElseTheLookupAnswers) {
    for (const OSStatus status : {errSecItemNotFound, errSecInteractionNotAllowed, 1}) {
        EXPECT_CALL(device, SecItemCopyMatching).WillOnce(Return(status));
        EXPECT_EQ(utils.loadKey("tag"), nullptr);
    }
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(std::monostate()));
    EXPECT_EQ(utils.loadKey("tag"), nullptr);
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(Bytes{1}));
    EXPECT_EQ(utils.loadKey("tag"), nullptr);
}

TEST_F(CryptoUtilsGenerateKeys, AsksTheSecureEnclaveForAnECPairWithAccessControl) {
    const auto accessControl = std::make_shared<const SecAccessControl>();
    CFDictionary privateHalf = half("private");
    privateHalf.push_back({kSecAttrAccessControl, SecAccessControlRef(accessControl)});
    const CFDictionary parameters = {
        {kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
        {kSecAttrKeySizeInBits, std::int64_t{-7}},  // passed on unchecked
        {kSecReturnRef, true},
        {kSecPublicKeyAttrs, half("public")},
        {kSecPrivateKeyAttrs, privateHalf},
        {kSecAttrTokenID, kSecAttrTokenIDSecureEnclave},
    };
    EXPECT_CALL(device,
                SecAccessControlCreateWithFlags(kSecAttrAccessibleAfterFirstUnlock, 0x40000000U, IsNull()))
        .WillOnce(Return(accessControl));
    EXPECT_CALL(device, SecKeyCreateRandomKey(parameters, NotNull())).WillOnce(Return(privateKey));
    EXPECT_CALL(device, SecItemCopyMatching(publicLookup(kSecAttrKeyTypeECSECPrimeRandom), NotNull()))
        .WillOnce(givesBack(publicKey));
    EXPECT_THAT(generate(ec, -7), Pair(privateKey, publicKey));
}

TEST_F(CryptoUtilsGenerateKeys, StopsTheProcessWhenNoAccessControlCanBeMade) {
    EXPECT_DEATH(
        {
            EXPECT_CALL(device, SecAccessControlCreateWithFlags).WillOnce(Return(nullptr));
            generate(ec, 256);
        },
        "the platform must make an access control");
}

TEST_F(CryptoUtilsGenerateKeys, ReturnsNoKeyAndPrintsWhyIfThePlatformSaysWhyItFails) {
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(failsWith<1>(errorPrintedAsPrinted(), SecKeyRef()));
    EXPECT_CALL(device, print("Error creating keys occurred: printed, keys weren't created"));
    EXPECT_THAT(generate(rsa, 2048), Pair(IsNull(), IsNull()));
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    EXPECT_THAT(generate(rsa, 2048), Pair(IsNull(), IsNull()));
}

TEST_F(CryptoUtilsGenerateKeys, ReturnsThePrivateKeyAloneWhenThePublicKeyIsNotFound) {
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(privateKey));
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(Return(errSecItemNotFound));
    EXPECT_CALL(device, print("Error getting publicKey from keychain occurred: -25300"));
    EXPECT_THAT(generate(rsa, 2048), Pair(privateKey, IsNull()));
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(privateKey));
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(std::monostate()));
    EXPECT_THAT(generate(rsa, 2048), Pair(privateKey, IsNull()));
}

}  // namespace
}  // namespace KavrelCrypto
