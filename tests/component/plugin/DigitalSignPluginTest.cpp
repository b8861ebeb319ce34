// The plugin on a platform that fails, with an error or without one; and the order in which it asks.

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

class DigitalSignPluginTest : public testing::Test {
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

using PluginEnsureKey = DigitalSignPluginTest;
using PluginHasKey = DigitalSignPluginTest;
using PluginDeleteKey = DigitalSignPluginTest;
using PluginGetKeyInfo = DigitalSignPluginTest;
using PluginStoreCertificate = DigitalSignPluginTest;
using PluginGetCertificate = DigitalSignPluginTest;
using PluginCreateCSR = DigitalSignPluginTest;
using PluginSignDigest = DigitalSignPluginTest;
using PluginGetBiometricStatus = DigitalSignPluginTest;

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

TEST_F(PluginEnsureKey, RejectsWithThePlatformsDescriptionAsTheCode) {
    expectDeletion();
    expectLookup(nullptr);
    expectDeletion();
    EXPECT_CALL(device, SecKeyCreateRandomKey)
        .WillOnce(failsWith<1>({.domain = "D", .code = 9, .userInfo = {{"NSLocalizedDescription", "why"}}},
                               SecKeyRef()));
    EXPECT_CALL(device, print("❌ SecKeyCreateRandomKey error: Error Domain=D Code=9 \"why\" "
                              "UserInfo={NSLocalizedDescription=why}"));
    expectRejection(*call(&DigitalSignPlugin::ensureKey), {"ensure_key_failed", "why"});
}

TEST_F(PluginEnsureKey, RejectsWithItsOwnDescriptionWhenThePlatformGivesNone) {
    expectDeletion();
    expectLookup(nullptr);
    expectDeletion();
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(nullptr));
    expectRejection(*call(&DigitalSignPlugin::ensureKey),
                    {"ensure_key_failed", "Unknown error in SecKeyCreateRandomKey"});
}

TEST_F(PluginHasKey, ResolvesWithFalseWhenTheLookupFails) {
    expectLookup(nullptr);
    expectResult(*call(&DigitalSignPlugin::hasKey), {{"exists", false}});
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

TEST_F(PluginGetKeyInfo, RejectsWithoutAKey) {
    expectLookup(nullptr);
    expectRejection(*call(&DigitalSignPlugin::getKeyInfo), {"not found"});
}

TEST_F(PluginGetKeyInfo, RejectsWhenTheKeyIsGoneAtTheSecondLook) {
    expectLookup(key);
    expectLookup(nullptr);
    expectRejection(*call(&DigitalSignPlugin::getKeyInfo), {"failed to get public key"});
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

TEST_F(PluginGetKeyInfo, StopsTheProcessWhenAPublicKeyCannotBeExported) {
    EXPECT_DEATH(
        {
            expectLookup(key);
            expectPublicKey(std::nullopt);
            call(&DigitalSignPlugin::getKeyInfo);
        },
        "a public key that was just derived must be exportable");
}

const JSObject certificateArguments = {{"nationalCode", "a"}, {"certPem", "AAEC"}};

TEST_F(PluginStoreCertificate, LooksForTheKeyBeforeItReadsTheText) {
    expectLookup(nullptr);
    expectRejection(
        *call(&DigitalSignPlugin::storeCertificate, {{"nationalCode", "a"}, {"certPem", "no base64"}}),
        {"Certificate is not valid (key missing)"});
}

TEST_F(PluginStoreCertificate, RejectsWithoutAPublicKey) {
    expectLookup(key);
    expectLookup(nullptr);
    expectRejection(*call(&DigitalSignPlugin::storeCertificate, certificateArguments),
                    {"Certificate is not valid"});
}

TEST_F(PluginStoreCertificate, RejectsWhatIsNotACertificateAndLeavesTheSlotAlone) {
    expectLookup(key);
    expectPublicKey(hex("AA"));
    EXPECT_CALL(device, SecCertificateCreateWithData(hex("00 01 02"))).WillOnce(Return(nullptr));
    expectRejection(*call(&DigitalSignPlugin::storeCertificate, certificateArguments),
                    {"Certificate is not valid"});
}

TEST_F(PluginStoreCertificate, ResolvesEvenWhenTheKeychainRefuses) {
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
    EXPECT_CALL(device, SecItemAdd(isSlotQuery(), IsNull())).WillOnce(Return(errSecInteractionNotAllowed));
    expectResult(*call(&DigitalSignPlugin::storeCertificate, certificateArguments), {{"stored", true}});
}

TEST_F(PluginGetCertificate, ResolvesWithNullWhenTheSlotCannotBeRead) {
    EXPECT_CALL(device, SecItemCopyMatching(isSlotQuery(), NotNull()))
        .WillOnce(Return(errSecInteractionNotAllowed));
    expectResult(*call(&DigitalSignPlugin::getCertificate), {{"certPem", nullptr}});
}

TEST_F(PluginCreateCSR, StopsTheProcessWithoutAnArgumentMap) {
    EXPECT_DEATH(plugin.createCSR(std::make_shared<TestCall>(std::nullopt)),
                 "a \"createCSR\" call must have an argument map");
}

TEST_F(PluginCreateCSR, RejectsWhenTheMissingKeyCannotBeMade) {
    expectLookup(nullptr);
    expectDeletion();
    EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(failsWith<1>(errorPrintedAsPrinted(), SecKeyRef()));
    EXPECT_CALL(device, print("❌ SecKeyCreateRandomKey error: printed"));
    expectRejection(*call(&DigitalSignPlugin::createCSR, createCSRArguments("a")),
                    {"ensure_key_failed", "The operation couldn\xE2\x80\x99t be completed. (D error 1.)"});
}

TEST_F(PluginCreateCSR, RejectsWithTheGenericDescriptionWhenTheBuilderFails) {
    expectLookup(key);
    EXPECT_CALL(device, SecItemCopyMatching).Times(2).WillRepeatedly(givesBack(key));
    EXPECT_CALL(device, SecKeyGetBlockSize(key)).WillOnce(Return(256));
    EXPECT_CALL(device, SecKeyCopyExternalRepresentation).WillOnce(Return(std::nullopt));
    expectRejection(
        *call(&DigitalSignPlugin::createCSR, createCSRArguments("a")),
        {"csr_failed",
         "The operation couldn\xE2\x80\x99t be completed. (KavrelCrypto.CSRCreationError error 2.)"});
}

TEST_F(PluginSignDigest, RejectsWithOneWordWhateverTheReason) {
    const auto context = std::make_shared<LAContext>();
    EXPECT_CALL(device, makeLAContext).WillOnce(Return(context));
    EXPECT_CALL(device, canEvaluatePolicy)
        .WillOnce(failsWith<2>({.domain = "com.apple.LocalAuthentication", .code = -7}, false));
    expectRejection(*call(&DigitalSignPlugin::signDigest, {{"nationalCode", "a"}, {"digestB64", ""}}),
                    {"sign_failed"});
}

TEST_F(PluginSignDigest, KeepsItsCallAliveUntilTheCompletionHasRun) {
    LAReply reply;
    EXPECT_CALL(device, makeLAContext).WillOnce(Return(std::make_shared<LAContext>()));
    EXPECT_CALL(device, canEvaluatePolicy).WillOnce(Return(true));
    EXPECT_CALL(device, evaluatePolicy).WillOnce(testing::SaveArg<3>(&reply));
    const std::weak_ptr<TestCall> pending =
        call(&DigitalSignPlugin::signDigest, {{"nationalCode", "a"}, {"digestB64", "AA=="}});
    ASSERT_FALSE(pending.expired());
    EXPECT_EQ(pending.lock()->timesFinished(), 0U);
    reply(false, std::nullopt);
    reply = nullptr;
    ASSERT_FALSE(pending.expired());
    device.runMainQueue();
    EXPECT_TRUE(pending.expired());
}

TEST_F(PluginGetBiometricStatus, ReleasesItsContext) {
    auto context = std::make_shared<LAContext>();
    const std::weak_ptr<LAContext> watched = context;
    EXPECT_CALL(device, makeLAContext).WillOnce(Return(testing::ByMove(std::move(context))));
    EXPECT_CALL(device, canEvaluatePolicy).WillOnce(Return(true));
    EXPECT_CALL(device, biometryType).WillOnce(Return(LABiometryType::faceID));
    call(&DigitalSignPlugin::getBiometricStatus, {});
    EXPECT_TRUE(watched.expired());
}

struct StatusRow {
    bool enabled;
    std::optional<NSError> error;
    const char* status;
};

TEST_F(PluginGetBiometricStatus, ResolvesWithTheStatusOfEachAnswer) {
    const auto code = [](std::int64_t value) { return NSError{.domain = "anything", .code = value}; };
    const StatusRow rows[] = {
        {true, std::nullopt, "BIOMETRIC_SUCCESS"},        {true, code(-8), "BIOMETRIC_SUCCESS"},
        {false, code(-6), "BIOMETRIC_ERROR_NO_HARDWARE"}, {false, code(-7), "BIOMETRIC_ERROR_NONE_ENROLLED"},
        {false, code(-8), "BIOMETRIC_ERROR_LOCKOUT"},     {false, code(-5), "BIOMETRIC_STATUS_UNKNOWN"},
        {false, code(0), "BIOMETRIC_STATUS_UNKNOWN"},     {false, std::nullopt, "UNKNOWN"},
    };
    for (const StatusRow& row : rows) {
        const auto context = std::make_shared<LAContext>();
        EXPECT_CALL(device, makeLAContext).WillOnce(Return(context));
        EXPECT_CALL(device, canEvaluatePolicy(Ref(*context),
                                              LAPolicy::deviceOwnerAuthenticationWithBiometrics, NotNull()))
            .WillOnce(testing::DoAll(testing::SetArgPointee<2>(row.error), Return(row.enabled)));
        EXPECT_CALL(device, biometryType(Ref(*context))).WillOnce(Return(LABiometryType::touchID));
        expectResult(*call(&DigitalSignPlugin::getBiometricStatus, {}),
                     {{"enabled", row.enabled}, {"status", row.status}, {"type", std::int64_t{1}}});
    }
}

}  // namespace
}  // namespace KavrelCrypto
