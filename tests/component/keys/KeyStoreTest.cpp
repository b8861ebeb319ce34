#include <gmock/gmock.h>
#include <type_traits>

#include "keys/SecureKeyManager.hpp"
#include "tests/device/ScriptedDevice.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::NotNull;
using testing::Return;

const std::string alias = "0012345678";
const Bytes privateTag = bytesOf("com.solbera.app.privatekey.0012345678");
const Bytes publicTag = bytesOf("com.solbera.app.publickey.0012345678");

CFDictionary lookup(const Bytes& tag) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, tag},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecReturnRef, true},
    };
}

CFDictionary deletion(const Bytes& tag, SecConstant keyClass) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, tag},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeyClass, keyClass},
    };
}

CFDictionary generation() {
    return {
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeySizeInBits, std::int64_t{2048}},
        {kSecPrivateKeyAttrs,
         CFDictionary{{kSecAttrIsPermanent, true},
                      {kSecAttrApplicationTag, privateTag},
                      {kSecAttrAccessible, kSecAttrAccessibleWhenUnlockedThisDeviceOnly}}},
        {kSecPublicKeyAttrs, CFDictionary{{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, publicTag}}},
    };
}

class KeyStore : public testing::Test {
  protected:
    void expectLookup(SecItemResult result) {
        EXPECT_CALL(device, SecItemCopyMatching(lookup(privateTag), NotNull()))
            .WillOnce(givesBack(std::move(result)));
    }

    void expectFailedLookup(OSStatus status) {
        EXPECT_CALL(device, SecItemCopyMatching(lookup(privateTag), NotNull())).WillOnce(Return(status));
    }

    void expectDeletion(OSStatus privateStatus, OSStatus publicStatus) {
        EXPECT_CALL(device, SecItemDelete(deletion(privateTag, kSecAttrKeyClassPrivate)))
            .WillOnce(Return(privateStatus));
        EXPECT_CALL(device, SecItemDelete(deletion(publicTag, kSecAttrKeyClassPublic)))
            .WillOnce(Return(publicStatus));
        EXPECT_CALL(device, print("🔑 forceDeleteAllKeys private status: " + std::to_string(privateStatus)));
        EXPECT_CALL(device, print("🔑 forceDeleteAllKeys public  status: " + std::to_string(publicStatus)));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const SecureKeyManager& manager = *SecureKeyManager::shared();
};

TEST_F(KeyStore, hasOneSharedInstance) {
    EXPECT_EQ(SecureKeyManager::shared().get(), SecureKeyManager::shared().get());
}

TEST_F(KeyStore, isNotMadeOrCopiedByAccident) {
    EXPECT_FALSE(std::is_default_constructible_v<SecureKeyManager>);
    EXPECT_FALSE(std::is_copy_constructible_v<SecureKeyManager>);
    EXPECT_FALSE(std::is_move_constructible_v<SecureKeyManager>);
    EXPECT_FALSE(std::is_copy_assignable_v<SecureKeyManager>);
    EXPECT_FALSE(std::is_move_assignable_v<SecureKeyManager>);
}

TEST_F(KeyStore, looksThePrivateKeyUpByItsTagAlone) {
    const SecKeyRef key = newKey();
    expectLookup(key);
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), key);
}

TEST_F(KeyStore, looksTheKeyUpWithTheContextItIsGiven) {
    const auto context = std::make_shared<LAContext>();
    CFDictionary query = lookup(privateTag);
    query.push_back({kSecUseAuthenticationContext, LAContextRef(context)});
    query.push_back({kSecUseAuthenticationUI, kSecUseAuthenticationUIAllow});
    const SecKeyRef key = newKey();
    EXPECT_CALL(device, SecItemCopyMatching(query, NotNull())).WillOnce(givesBack(key));
    EXPECT_EQ(manager.loadPrivateKey(alias, context), key);
}

TEST_F(KeyStore, findsNothingWhateverTheStatusSays) {
    for (const OSStatus status : {errSecItemNotFound, errSecInteractionNotAllowed, errSecParam, -128, 1}) {
        expectFailedLookup(status);
        EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
    }
}

TEST_F(KeyStore, findsNothingWhenSuccessBringsNoKey) {
    expectLookup(std::monostate());
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
    expectLookup(SecKeyRef());
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
    expectLookup(Bytes{1});
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
}

TEST_F(KeyStore, doesNotTrustAResultThatCameWithAFailure) {
    EXPECT_CALL(device, SecItemCopyMatching(lookup(privateTag), NotNull()))
        .WillOnce(
            testing::DoAll(testing::SetArgPointee<1>(SecItemResult(newKey())), Return(errSecItemNotFound)));
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
}

TEST_F(KeyStore, usesTheAliasByteForByte) {
    for (const std::string& other : {std::string(), std::string(" a "), std::string("A"), std::string("a"),
                                     std::string("\xD8\xA7\xF0\x9F\x98\x80"), std::string("a\0b", 3)}) {
        EXPECT_CALL(device,
                    SecItemCopyMatching(lookup(bytesOf("com.solbera.app.privatekey." + other)), NotNull()))
            .WillOnce(Return(errSecItemNotFound));
        EXPECT_EQ(manager.loadPrivateKey(other, nullptr), nullptr);
    }
}

TEST_F(KeyStore, deletesBothHalvesBeforeItPrintsTheStatuses) {
    expectDeletion(0, errSecItemNotFound);
    manager.forceDeleteAllKeys(alias);
}

TEST_F(KeyStore, deletesThePublicHalfAlsoWhenThePrivateOneFails) {
    expectDeletion(errSecInteractionNotAllowed, -50);
    manager.forceDeleteAllKeys(alias);
}

TEST_F(KeyStore, derivesThePublicKey) {
    const SecKeyRef privateKey = newKey();
    const SecKeyRef publicKey = newKey();
    EXPECT_CALL(device, SecKeyCopyPublicKey(privateKey)).WillOnce(Return(publicKey));
    EXPECT_EQ(SecureKeyManager::getPublicKey(privateKey), publicKey);
}

TEST_F(KeyStore, raisesWhenThereIsNoPublicKey) {
    EXPECT_CALL(device, SecKeyCopyPublicKey).WillOnce(Return(nullptr));
    try {
        static_cast<void>(SecureKeyManager::getPublicKey(newKey()));
        FAIL() << "nothing was raised";
    } catch (const NSError& error) {
        EXPECT_EQ(error, (NSError{.domain = "SecureKeyManager",
                                  .code = -2,
                                  .userInfo = {{"NSLocalizedDescription", "Failed to get public key"}}}));
    }
}

TEST_F(KeyStore, keepsAKeyThatIsThere) {
    const SecKeyRef key = newKey();
    expectLookup(key);
    EXPECT_EQ(manager.getOrCreatePrivateKey(alias), key);
}

TEST_F(KeyStore, deletesLeftoversBeforeItMakesANewPair) {
    const SecKeyRef key = newKey();
    expectFailedLookup(errSecItemNotFound);
    expectDeletion(errSecItemNotFound, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey(generation(), NotNull())).WillOnce(Return(key));
    EXPECT_EQ(manager.getOrCreatePrivateKey(alias), key);
}

TEST_F(KeyStore, printsAndPassesOnThePlatformsErrorUnchanged) {
    const NSError platform{.domain = "NSOSStatusErrorDomain",
                           .code = -34018,
                           .userInfo = {{"NSLocalizedDescription", "no entitlement"}},
                           .printedForm = "printed"};
    expectFailedLookup(errSecItemNotFound);
    expectDeletion(0, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey(generation(), NotNull()))
        .WillOnce(failsWith<1>(platform, SecKeyRef()));
    EXPECT_CALL(device, print("❌ SecKeyCreateRandomKey error: printed"));
    try {
        static_cast<void>(manager.getOrCreatePrivateKey(alias));
        FAIL() << "nothing was raised";
    } catch (const NSError& error) {
        EXPECT_EQ(error, platform);
    }
}

TEST_F(KeyStore, raisesItsOwnErrorWhenThePlatformGivesNone) {
    expectFailedLookup(errSecItemNotFound);
    expectDeletion(0, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    try {
        static_cast<void>(manager.getOrCreatePrivateKey(alias));
        FAIL() << "nothing was raised";
    } catch (const NSError& error) {
        EXPECT_EQ(
            error,
            (NSError{.domain = "SecureKeyManager",
                     .code = -1,
                     .userInfo = {{"NSLocalizedDescription", "Unknown error in SecKeyCreateRandomKey"}}}));
    }
}

}  // namespace
}  // namespace KavrelCrypto
