// Which items can be reached while the desktop device is locked.

#include <gmock/gmock.h>

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

struct Reach {
    SecConstant accessible;
    Desktop::DeviceState state;
    OSStatus status;  // of whatever is done with an item
};

class ItemsOnALockedDevice : public testing::TestWithParam<Reach> {
  protected:
    const TestDevice device;
};

TEST_P(ItemsOnALockedDevice, AreInReachOrNot) {
    const auto& [accessible, state, status] = GetParam();
    const bool isInReach = status == errSecSuccess;
    SecKeyCreateRandomKey(parameters("tag", accessible), nullptr);
    addPassword("account", "value", accessible);
    Desktop::setDeviceState(state);
    EXPECT_EQ(lookup("tag"), status);
    EXPECT_EQ(readPassword("account"), status);
    EXPECT_EQ(addPassword("account", "value", kSecAttrAccessibleAfterFirstUnlock),
              isInReach ? errSecDuplicateItem : errSecInteractionNotAllowed);
    EXPECT_EQ(addPassword("another", "value", accessible), status);
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey(parameters("other", accessible), &error) != nullptr, isInReach);
    EXPECT_EQ(error ? error->code : 0, status);
    EXPECT_EQ(remove("tag"), status);
    Desktop::setDeviceState(unlocked);
    EXPECT_EQ(readPassword("account"), errSecSuccess);
    EXPECT_EQ(lookup("tag"), isInReach ? errSecItemNotFound : errSecSuccess);
    for (const OSStatus made : {lookup("other"), readPassword("another")}) {
        EXPECT_EQ(made, isInReach ? errSecSuccess : errSecItemNotFound);
    }
}

constexpr OSStatus outOfReach = errSecInteractionNotAllowed;

INSTANTIATE_TEST_SUITE_P(
    Accessibilities, ItemsOnALockedDevice,
    testing::Values(Reach{kSecAttrAccessibleWhenUnlocked, locked, outOfReach},
                    Reach{kSecAttrAccessibleWhenUnlockedThisDeviceOnly, locked, outOfReach},
                    Reach{kSecAttrAccessibleAfterFirstUnlock, locked, errSecSuccess},
                    Reach{kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly, locked, errSecSuccess},
                    Reach{kSecAttrAccessibleWhenUnlocked, beforeFirstUnlock, outOfReach},
                    Reach{kSecAttrAccessibleAfterFirstUnlock, beforeFirstUnlock, outOfReach},
                    Reach{kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly, beforeFirstUnlock, outOfReach}));

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

TEST_F(KeychainLock, LeavesKeysAloneThatAreNotInTheKeychain) {
    Desktop::setDeviceState(beforeFirstUnlock);
    EXPECT_NE(
        SecKeyCreateRandomKey(
            {{kSecAttrKeyType, kSecAttrKeyTypeRSA}, {kSecAttrKeySizeInBits, std::int64_t{512}}}, nullptr),
        nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
