// In which order each method asks the platform for its operations, and what it prints.

#include <gmock/gmock.h>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/Hex.hpp"
#include "tests/support/TestCall.hpp"

namespace KavrelCrypto {
namespace {

using testing::_;
using testing::InSequence;
using testing::IsNull;
using testing::NotNull;
using testing::Ref;
using testing::Return;

MATCHER(isSlotQuery, "") {
    return arg.front() == CFDictionaryEntry{kSecClass, kSecClassGenericPassword};
}

class PluginOperations : public testing::Test {
  protected:
    std::shared_ptr<TestCall> call(void (DigitalSignPlugin::*method)(const CAPPluginCallRef&) const,
                                   JSObject options = {{"nationalCode", "a"}}) {
        auto made = std::make_shared<TestCall>(std::move(options));
        (plugin.*method)(made);
        return made;
    }

    static void expectResult(const TestCall& made, const JSObject& result) {
        ASSERT_EQ(made.timesFinished(), 1U);
        ASSERT_EQ(made.results.size(), 1U);
        EXPECT_EQ(made.results[0], result);
    }

    static void expectRejection(const TestCall& made, const TestCall::Rejection& rejection) {
        ASSERT_EQ(made.timesFinished(), 1U);
        ASSERT_EQ(made.rejections.size(), 1U);
        EXPECT_EQ(made.rejections[0], rejection);
    }

    void expectLookup(SecKeyRef result) {
        expectKeyLookup(device, "com.solbera.app.privatekey.a", std::move(result));
    }

    void expectDeletion() {
        expectPairDeletion(device, "a", errSecSuccess, errSecSuccess);
    }

    void expectPublicKey(std::optional<Bytes> exported) {
        expectLookup(key);
        EXPECT_CALL(device, SecKeyCopyPublicKey(key)).WillOnce(Return(publicKey));
        EXPECT_CALL(device, SecKeyCopyExternalRepresentation(publicKey, IsNull()))
            .WillOnce(Return(std::move(exported)));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const DigitalSignPlugin plugin;
    const SecKeyRef key = newKey();
    const SecKeyRef publicKey = newKey();
};

using PluginEnsureKey = PluginOperations;
using PluginHasKey = PluginOperations;
using PluginDeleteKey = PluginOperations;
using PluginGetKeyInfo = PluginOperations;
using PluginStoreCertificate = PluginOperations;
using PluginGetBiometricStatus = PluginOperations;

TEST_F(PluginEnsureKey, DeletesThenLooksThenDeletesOnceMoreBeforeItGenerates) {
    expectDeletion();
    expectLookup(nullptr);
    expectDeletion();
    EXPECT_CALL(device, SecKeyCreateRandomKey(_, NotNull())).WillOnce(Return(key));
    expectResult(*call(&DigitalSignPlugin::ensureKey), {{"ok", true}});
}

TEST_F(PluginEnsureKey, KeepsAKeyThatTheDeletionLeft) {
    expectDeletion();
    expectLookup(key);
    expectResult(*call(&DigitalSignPlugin::ensureKey), {{"ok", true}});
}

TEST_F(PluginHasKey, OnlyLooksTheKeyUp) {
    expectLookup(key);
    expectResult(*call(&DigitalSignPlugin::hasKey), {{"exists", true}});
}

TEST_F(PluginDeleteKey, EmptiesTheSlotAfterTheKeysAndResolvesWhateverHappens) {
    expectPairDeletion(device, "a", errSecInteractionNotAllowed, errSecItemNotFound);
    EXPECT_CALL(device, SecItemDelete(isSlotQuery())).WillOnce(Return(-50));
    expectResult(*call(&DigitalSignPlugin::deleteKey), {{"deleted", true}});
}

TEST_F(PluginGetKeyInfo, LooksThePrivateKeyUpTwiceAndTheSlotLast) {
    expectLookup(key);
    expectPublicKey(hex("00 01 02"));
    EXPECT_CALL(device, SecItemCopyMatching(isSlotQuery(), NotNull()))
        .WillOnce(givesBack(bytesOf("certificate")));
    expectResult(*call(&DigitalSignPlugin::getKeyInfo),
                 {
                     {"alias", "a"},
                     {"alg", "RSA_2048"},
                     {"createdAt", "unknown"},
                     {"hardwareBacked", false},
                     {"publicKeyPem", "-----BEGIN PUBLIC KEY-----\nAAEC\n-----END PUBLIC KEY-----"},
                     {"certificate", "certificate"},
                 });
}

TEST_F(PluginGetKeyInfo, PrintsAndRejectsWhenThereIsNoPublicKey) {
    expectLookup(key);
    expectLookup(key);
    EXPECT_CALL(device, SecKeyCopyPublicKey(key)).WillOnce(Return(nullptr));
    EXPECT_CALL(
        device,
        print("❌ getPublicKeyData error: Error Domain=SecureKeyManager Code=-2 \"Failed to get public "
              "key\" UserInfo={NSLocalizedDescription=Failed to get public key}"));
    expectRejection(*call(&DigitalSignPlugin::getKeyInfo), {"failed to get public key"});
}

TEST_F(PluginStoreCertificate, LooksTheKeyUpTwiceAndReplacesWhatIsInTheSlotLast) {
    expectLookup(key);
    expectPublicKey(hex("AA"));
    const auto trust = std::make_shared<const SecTrust>();
    EXPECT_CALL(device, SecCertificateCreateWithData)
        .WillOnce(Return(std::make_shared<const SecCertificate>()));
    EXPECT_CALL(device, SecPolicyCreateBasicX509).WillOnce(Return(std::make_shared<const SecPolicy>()));
    EXPECT_CALL(device, SecTrustCreateWithCertificates)
        .WillOnce(testing::DoAll(testing::SetArgPointee<2>(SecTrustRef(trust)), Return(errSecSuccess)));
    EXPECT_CALL(device, SecTrustCopyKey(SecTrustRef(trust))).WillOnce(Return(newKey()));
    EXPECT_CALL(device, SecKeyCopyExternalRepresentation).WillOnce(Return(hex("AA")));
    EXPECT_CALL(device, SecItemDelete(isSlotQuery())).WillOnce(Return(errSecSuccess));
    EXPECT_CALL(device, SecItemAdd(isSlotQuery(), IsNull())).WillOnce(Return(errSecSuccess));
    expectResult(*call(&DigitalSignPlugin::storeCertificate, {{"nationalCode", "a"}, {"certPem", "AAEC"}}),
                 {{"stored", true}});
}

TEST_F(PluginGetBiometricStatus, AsksTheSensorBeforeItsKindAndPassesOverAnErrorBesideAYes) {
    const auto context = std::make_shared<LAContext>();
    EXPECT_CALL(device, makeLAContext).WillOnce(Return(context));
    EXPECT_CALL(device, canEvaluatePolicy(Ref(*context), LAPolicy::deviceOwnerAuthenticationWithBiometrics,
                                          NotNull()))
        .WillOnce(failsWith<2>({.domain = "anything", .code = -8}, true));
    EXPECT_CALL(device, biometryType(Ref(*context))).WillOnce(Return(LABiometryType::touchID));
    expectResult(*call(&DigitalSignPlugin::getBiometricStatus, {}),
                 {{"enabled", true}, {"status", "BIOMETRIC_SUCCESS"}, {"type", std::int64_t{1}}});
}

}  // namespace
}  // namespace KavrelCrypto
