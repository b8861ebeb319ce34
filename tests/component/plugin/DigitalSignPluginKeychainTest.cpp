// What the plugin leaves in the keychain when it fails.

#include <algorithm>
#include <gmock/gmock.h>
#include <set>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/TestCall.hpp"

namespace KavrelCrypto {
namespace {

using testing::AnyNumber;
using testing::Return;

template <typename T>
const T& valueIn(const CFDictionary& map, SecConstant key) {
    const auto entry = std::find_if(map.begin(), map.end(), [&](const auto& e) { return e.key == key; });
    return std::get<T>(entry->value);
}

std::string tagIn(const CFDictionary& map) {
    const auto& tag = valueIn<Bytes>(map, kSecAttrApplicationTag);
    return {tag.begin(), tag.end()};
}

/// The plugin over a keychain that knows nothing of its keys but their tags.
class PluginLeavesInTheKeychain : public testing::Test {
  protected:
    PluginLeavesInTheKeychain() {
        EXPECT_CALL(device, print).Times(AnyNumber());
        EXPECT_CALL(device, SecItemCopyMatching)
            .WillRepeatedly([this](const CFDictionary& query, SecItemResult* result) {
                return tags.count(tagIn(query)) == 0 ? errSecItemNotFound
                                                     : givesBack(newKey())(query, result);
            });
        EXPECT_CALL(device, SecItemDelete).WillRepeatedly([this](const CFDictionary& query) {
            return tags.erase(tagIn(query)) == 0 ? errSecItemNotFound : errSecSuccess;
        });
    }

    void letGenerationSucceed() {
        EXPECT_CALL(device, SecKeyCreateRandomKey)
            .WillRepeatedly([this](const CFDictionary& parameters, auto*) {
                tags.insert(tagIn(valueIn<CFDictionary>(parameters, kSecPrivateKeyAttrs)));
                tags.insert(tagIn(valueIn<CFDictionary>(parameters, kSecPublicKeyAttrs)));
                return newKey();
            });
    }

    /// Lets every public key be one that cannot be exported, so that no request can be built.
    void letExportFail() {
        EXPECT_CALL(device, SecKeyGetBlockSize).WillOnce(Return(256));
        EXPECT_CALL(device, SecKeyCopyExternalRepresentation).WillOnce(Return(std::nullopt));
    }

    static std::string rejection(void (DigitalSignPlugin::*method)(const CAPPluginCallRef&) const,
                                 JSObject options) {
        const auto call = std::make_shared<TestCall>(std::move(options));
        (DigitalSignPlugin().*method)(call);
        return call->rejections.empty() ? "" : call->rejections.front().message;
    }

    using Tags = std::set<std::string>;
    const Tags pairOfA = {"com.solbera.app.privatekey.a", "com.solbera.app.publickey.a"};
    const Tags pairOfB = {"com.solbera.app.privatekey.b", "com.solbera.app.publickey.b"};
    Tags tags;
    ScriptedDevice device;
};

TEST_F(PluginLeavesInTheKeychain, OnlyTheKeysOfOthersWhenEnsureKeyCannotGenerate) {
    tags = pairOfB;
    tags.insert(pairOfA.begin(), pairOfA.end());
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    EXPECT_EQ(rejection(&DigitalSignPlugin::ensureKey, {{"nationalCode", "a"}}), "ensure_key_failed");
    EXPECT_EQ(tags, pairOfB);
}

TEST_F(PluginLeavesInTheKeychain, NoHalfOfAPairWhenCreateCSRCannotGenerate) {
    tags = {"com.solbera.app.publickey.a"};
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    EXPECT_EQ(rejection(&DigitalSignPlugin::createCSR, createCSRArguments("a")), "ensure_key_failed");
    EXPECT_EQ(tags, Tags());
}

TEST_F(PluginLeavesInTheKeychain, ThePairThatCreateCSRGeneratedWhenItCannotBuild) {
    letGenerationSucceed();
    EXPECT_CALL(device, SecKeyCopyPublicKey).WillOnce(Return(newKey()));
    letExportFail();
    EXPECT_EQ(rejection(&DigitalSignPlugin::createCSR, createCSRArguments("a")), "csr_failed");
    EXPECT_EQ(tags, pairOfA);
}

TEST_F(PluginLeavesInTheKeychain, TheFallbackPairTooWhenCreateCSRCannotBuildEvenWithIt) {
    letGenerationSucceed();
    EXPECT_CALL(device, SecKeyCopyPublicKey).WillOnce(Return(nullptr));
    letExportFail();
    EXPECT_EQ(rejection(&DigitalSignPlugin::createCSR, createCSRArguments("a")), "csr_failed");
    Tags expected = pairOfA;
    expected.insert({"com.kavrel.app.privatekeya", "com.kavrel.app.publickeya"});
    EXPECT_EQ(tags, expected);
}

}  // namespace
}  // namespace KavrelCrypto
