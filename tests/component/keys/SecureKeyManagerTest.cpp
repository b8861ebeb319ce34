#include <gmock/gmock.h>
#include <type_traits>

#include "keys/SecureKeyManager.hpp"
#include "tests/component/Scripts.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::NotNull;
using testing::Return;

// Used byte for byte.
const std::string alias(" aé\0b", 6);
const std::string privateTag = "com.solbera.app.privatekey." + alias;

class SecureKeyManagerTest : public testing::Test {
  protected:
    void expectLookup(SecItemResult result) {
        EXPECT_CALL(device, SecItemCopyMatching(keyLookup(privateTag), NotNull()))
            .WillOnce(givesBack(std::move(result)));
    }

    void expectFailedLookup(OSStatus status) {
        EXPECT_CALL(device, SecItemCopyMatching(keyLookup(privateTag), NotNull())).WillOnce(Return(status));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const SecureKeyManager& manager = *SecureKeyManager::shared();
};

using SecureKeyManagerShared = SecureKeyManagerTest;
using SecureKeyManagerLoadPrivateKey = SecureKeyManagerTest;
using SecureKeyManagerGetOrCreatePrivateKey = SecureKeyManagerTest;

TEST_F(SecureKeyManagerShared, IsTheOnlyInstance) {
    EXPECT_EQ(SecureKeyManager::shared().get(), SecureKeyManager::shared().get());
    EXPECT_FALSE(std::is_default_constructible_v<SecureKeyManager>);
    EXPECT_FALSE(std::is_copy_constructible_v<SecureKeyManager>);
}

TEST_F(SecureKeyManagerLoadPrivateKey, LooksTheKeyUpWithTheContextThatItIsGiven) {
    const auto context = std::make_shared<LAContext>();
    CFDictionary query = keyLookup(privateTag);
    query.push_back({kSecUseAuthenticationContext, LAContextRef(context)});
    query.push_back({kSecUseAuthenticationUI, kSecUseAuthenticationUIAllow});
    const SecKeyRef key = newKey();
    EXPECT_CALL(device, SecItemCopyMatching(query, NotNull())).WillOnce(givesBack(key));
    EXPECT_EQ(manager.loadPrivateKey(alias, context), key);
}

TEST_F(SecureKeyManagerLoadPrivateKey, FindsNothingWhenALookupSucceedsWithoutAKey) {
    expectLookup(std::monostate());
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
    expectLookup(SecKeyRef());
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
    expectLookup(Bytes{1});
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
}

TEST_F(SecureKeyManagerLoadPrivateKey, IgnoresAResultThatCameWithAFailure) {
    EXPECT_CALL(device, SecItemCopyMatching(keyLookup(privateTag), NotNull()))
        .WillOnce(testing::DoAll(testing::SetArgPointee<1>(SecItemResult(newKey())),
                                 Return(errSecInteractionNotAllowed)));
    EXPECT_EQ(manager.loadPrivateKey(alias, nullptr), nullptr);
}

TEST_F(SecureKeyManagerGetOrCreatePrivateKey, DeletesLeftoversBeforeItMakesANewPair) {
    const SecKeyRef key = newKey();
    expectFailedLookup(errSecItemNotFound);
    expectPairDeletion(device, alias, errSecItemNotFound, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey(pairParameters(alias), NotNull())).WillOnce(Return(key));
    EXPECT_EQ(manager.getOrCreatePrivateKey(alias), key);
}

TEST_F(SecureKeyManagerGetOrCreatePrivateKey, PrintsThePlatformsErrorAndThrowsItUnchanged) {
    const NSError platform{.domain = "NSOSStatusErrorDomain",
                           .code = -34018,
                           .userInfo = {{"NSLocalizedDescription", "no entitlement"}},
                           .printedForm = "printed"};
    expectFailedLookup(errSecItemNotFound);
    expectPairDeletion(device, alias, 0, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey(pairParameters(alias), NotNull()))
        .WillOnce(failsWith<1>(platform, SecKeyRef()));
    EXPECT_CALL(device, print("❌ SecKeyCreateRandomKey error: printed"));
    EXPECT_EQ(thrownBy([&] { static_cast<void>(manager.getOrCreatePrivateKey(alias)); }), platform);
}

TEST_F(SecureKeyManagerGetOrCreatePrivateKey, ThrowsItsOwnErrorWhenThePlatformGivesNone) {
    expectFailedLookup(errSecItemNotFound);
    expectPairDeletion(device, alias, 0, 0);
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    EXPECT_EQ(thrownBy([&] { static_cast<void>(manager.getOrCreatePrivateKey(alias)); }),
              managerError(-1, "Unknown error in SecKeyCreateRandomKey"));
}

}  // namespace
}  // namespace KavrelCrypto
