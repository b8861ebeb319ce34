// Which items can be reached while the desktop device is locked.

#include <gmock/gmock.h>

#include "csr/CryptoUtils.hpp"
#include "storage/CSRStorage.hpp"
#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

constexpr Desktop::DeviceState unlocked{};
constexpr Desktop::DeviceState locked{.locked = true};
constexpr Desktop::DeviceState beforeFirstUnlock{.locked = true, .firstUnlock = false};

CFDictionary parameters(const std::string& tag, SecConstant accessible) {
    return {{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
            {kSecAttrKeySizeInBits, std::int64_t{256}},
            {kSecPrivateKeyAttrs, CFDictionary{{kSecAttrIsPermanent, true},
                                               {kSecAttrApplicationTag, bytesOf(tag)},
                                               {kSecAttrAccessible, accessible}}}};
}

OSStatus lookup(const std::string& tag) {
    return SecItemCopyMatching(keyQuery(tag), nullptr);
}

OSStatus readPassword(const std::string& account) {
    SecItemResult result;
    return SecItemCopyMatching(passwordQuery(account), &result);
}

OSStatus remove(const std::string& tag) {
    return SecItemDelete({{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(tag)}});
}

class WhenUnlocked : public testing::TestWithParam<SecConstant> {
  protected:
    const TestDevice device;
};

TEST_P(WhenUnlocked, ItemsAreOutOfReachWhileLocked) {
    SecKeyCreateRandomKey(parameters("tag", GetParam()), nullptr);
    addPassword("account", "value", GetParam());
    Desktop::setDeviceState(locked);
    EXPECT_EQ(lookup("tag"), errSecInteractionNotAllowed);
    EXPECT_EQ(remove("tag"), errSecInteractionNotAllowed);
    EXPECT_EQ(readPassword("account"), errSecInteractionNotAllowed);
    EXPECT_EQ(addPassword("another", "value", GetParam()), errSecInteractionNotAllowed);
    EXPECT_EQ(addPassword("account", "value", kSecAttrAccessibleAfterFirstUnlock),
              errSecInteractionNotAllowed);
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey(parameters("other", GetParam()), &error), nullptr);
    EXPECT_EQ(error.value().code, errSecInteractionNotAllowed);
    Desktop::setDeviceState(unlocked);
    EXPECT_EQ(lookup("tag"), errSecSuccess);
    EXPECT_EQ(lookup("other"), errSecItemNotFound);
    EXPECT_EQ(readPassword("account"), errSecSuccess);
    EXPECT_EQ(readPassword("another"), errSecItemNotFound);
}

INSTANTIATE_TEST_SUITE_P(Accessibilities, WhenUnlocked,
                         testing::Values(kSecAttrAccessibleWhenUnlocked,
                                         kSecAttrAccessibleWhenUnlockedThisDeviceOnly));

class AfterFirstUnlock : public WhenUnlocked {};

TEST_P(AfterFirstUnlock, ItemsAreInReachWhileLocked) {
    addPassword("account", "value", GetParam());
    Desktop::setDeviceState(locked);
    EXPECT_NE(SecKeyCreateRandomKey(parameters("tag", GetParam()), nullptr), nullptr);
    EXPECT_NE(SecKeyGetBlockSize(findKey("tag")), 0U);
    EXPECT_EQ(remove("tag"), errSecSuccess);
    EXPECT_EQ(readPassword("account"), errSecSuccess);
    EXPECT_EQ(addPassword("another", "value", GetParam()), errSecSuccess);
}

TEST_P(AfterFirstUnlock, ItemsAreOutOfReachBeforeIt) {
    SecKeyCreateRandomKey(parameters("tag", GetParam()), nullptr);
    addPassword("account", "value", GetParam());
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_EQ(lookup("tag"), errSecInteractionNotAllowed);
    EXPECT_EQ(remove("tag"), errSecInteractionNotAllowed);
    EXPECT_EQ(readPassword("account"), errSecInteractionNotAllowed);
    EXPECT_EQ(addPassword("another", "value", GetParam()), errSecInteractionNotAllowed);
    EXPECT_EQ(SecKeyCreateRandomKey(parameters("other", GetParam()), nullptr), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Accessibilities, AfterFirstUnlock,
                         testing::Values(kSecAttrAccessibleAfterFirstUnlock,
                                         kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly));

class KeychainLock : public testing::Test {
  protected:
    const TestDevice device;
};

TEST_F(KeychainLock, HidesNothingThatIsNotThere) {
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_EQ(lookup("tag"), errSecItemNotFound);
    EXPECT_EQ(remove("tag"), errSecItemNotFound);
}

TEST_F(KeychainLock, IsMetByItemsThatNameNoAccessibility) {
    SecItemAdd({{kSecClass, kSecClassGenericPassword},
                {kSecAttrAccount, std::string("account")},
                {kSecValueData, bytesOf("value")}},
               nullptr);
    makePair("p");  // its public half names none
    Desktop::setDeviceState(locked);
    EXPECT_EQ(readPassword("account"), errSecInteractionNotAllowed);
    EXPECT_EQ(lookup("p.public"), errSecInteractionNotAllowed);
}

TEST_F(KeychainLock, KeepsADeletionFromDeletingAnything) {
    SecKeyCreateRandomKey(parameters("tag", kSecAttrAccessibleAfterFirstUnlock), nullptr);
    SecKeyCreateRandomKey(parameters("tag", kSecAttrAccessibleWhenUnlocked), nullptr);
    Desktop::setDeviceState(locked);
    EXPECT_EQ(remove("tag"), errSecInteractionNotAllowed);
    EXPECT_EQ(lookup("tag"), errSecSuccess);
}

TEST_F(KeychainLock, KeepsAPairFromBeingStoredByHalves) {
    CFDictionary pair = parameters("private", kSecAttrAccessibleAfterFirstUnlock);
    pair.push_back({kSecPublicKeyAttrs,
                    CFDictionary{{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, bytesOf("public")}}});
    Desktop::setDeviceState(locked);
    EXPECT_EQ(SecKeyCreateRandomKey(pair, nullptr), nullptr);
    EXPECT_EQ(lookup("private"), errSecItemNotFound);
}

TEST_F(KeychainLock, KeepsAReferenceFromItsKeyUntilTheDeviceIsUnlocked) {
    makePair("p");
    const SecKeyRef key = findKey("p.private");
    Desktop::setDeviceState(locked);
    std::optional<NSError> error;
    EXPECT_EQ(
        SecKeyCreateSignature(key, kSecKeyAlgorithmECDSASignatureMessageX962SHA256, bytesOf("x"), &error),
        std::nullopt);
    EXPECT_EQ(error.value().code, errSecInteractionNotAllowed);
    Desktop::setDeviceState(unlocked);
    EXPECT_NE(
        SecKeyCreateSignature(key, kSecKeyAlgorithmECDSASignatureMessageX962SHA256, bytesOf("x"), nullptr),
        std::nullopt);
}

TEST_F(KeychainLock, LetsTheSlotReadAsEmptyBeforeTheFirstUnlock) {
    ASSERT_TRUE(CSRStorage::shared().saveCSR("a certificate"));
    Desktop::setDeviceState(locked);
    EXPECT_EQ(CSRStorage::shared().getCSR(), "a certificate");
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_EQ(CSRStorage::shared().getCSR(), std::nullopt);
    EXPECT_FALSE(CSRStorage::shared().saveCSR("another"));
    EXPECT_FALSE(CSRStorage::shared().deleteCSR());
    Desktop::setDeviceState(unlocked);
    EXPECT_EQ(CSRStorage::shared().getCSR(), "a certificate");
}

TEST_F(KeychainLock, KeepsNobodyFromTheFallbackPairAfterTheFirstUnlock) {
    const CryptoUtils utils;
    const auto pair = utils.generateKeysAndStoreInKeychain(KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256),
                                                           1024, "private", "public");
    ASSERT_NE(pair.first, nullptr);
    Desktop::setDeviceState(locked);
    EXPECT_EQ(SecKeyGetBlockSize(utils.loadKey("private")), 128U);
    EXPECT_EQ(SecKeyGetBlockSize(utils.loadKey("public")), 128U);
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_EQ(utils.loadKey("private"), nullptr);
    EXPECT_EQ(utils.loadKey("public"), nullptr);
}

TEST_F(KeychainLock, LeavesKeysAloneThatAreNotInTheKeychain) {
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_NE(
        SecKeyCreateRandomKey(
            {{kSecAttrKeyType, kSecAttrKeyTypeRSA}, {kSecAttrKeySizeInBits, std::int64_t{512}}}, nullptr),
        nullptr);
}

TEST_F(KeychainLock, IsThereBeforeTheFirstUnlock) {
    EXPECT_THROW(Desktop::setDeviceState({.locked = false, .firstUnlock = false}), Desktop::DeviceError);
    EXPECT_EQ(Desktop::deviceState(), unlocked);
}

TEST_F(KeychainLock, StaysWhenTheDeviceIsOpenedAgain) {
    const Desktop::DeviceState state{.biometry = LABiometryType::touchID,
                                     .enrolled = false,
                                     .lockedOut = true,
                                     .locked = true,
                                     .firstUnlock = false};
    Desktop::setDeviceState(state);
    device.reopen();
    EXPECT_EQ(Desktop::deviceState(), state);
}

}  // namespace
}  // namespace KavrelCrypto
