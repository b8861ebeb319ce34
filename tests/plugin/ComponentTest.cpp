// CryptoUtils over a real keychain, where no method of the plugin leads to what it does.

#include <gtest/gtest.h>

#include "csr/CryptoUtils.hpp"
#include "platform/Security.hpp"
#include "tests/plugin/People.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

class CryptoUtilsOnADevice : public OnANewDevice {
  protected:
    static std::optional<Bytes> exported(const SecKeyRef& key) {
        return key == nullptr ? std::nullopt : SecKeyCopyExternalRepresentation(key, nullptr);
    }

    const CryptoUtils utils;
};

TEST_F(CryptoUtilsOnADevice, FindsBothHalvesOfThePairThatItGenerated) {
    const auto [privateKey, publicKey] = utils.generateKeysAndStoreInKeychain(
        KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256), 2048, "private", "public");
    ASSERT_NE(privateKey, nullptr);
    ASSERT_NE(publicKey, nullptr);
    EXPECT_EQ(SecKeyGetBlockSize(publicKey), 256U);
    EXPECT_EQ(exported(SecKeyCopyPublicKey(privateKey)), exported(publicKey));

    const SecKeyRef foundPrivate = utils.loadKey("private");
    ASSERT_NE(foundPrivate, nullptr);
    EXPECT_EQ(exported(SecKeyCopyPublicKey(foundPrivate)), exported(publicKey));
    EXPECT_EQ(exported(utils.loadKey("public")), exported(publicKey));
}

TEST_F(CryptoUtilsOnADevice, DoesNotFindAnECKey) {
    const CFDictionary half = {{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, bytesOf("tag")}};
    ASSERT_NE(SecKeyCreateRandomKey({{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                                     {kSecAttrKeySizeInBits, std::int64_t{256}},
                                     {kSecPrivateKeyAttrs, half}},
                                    nullptr),
              nullptr);
    SecItemResult found;
    ASSERT_EQ(
        SecItemCopyMatching(
            {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf("tag")}, {kSecReturnRef, true}},
            &found),
        errSecSuccess);
    EXPECT_EQ(utils.loadKey("tag"), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
