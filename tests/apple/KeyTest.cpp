// The key operations of the Apple device.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apple/AppleDeviceTest.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {
namespace {

using AppleStandIns::calls;
using AppleStandIns::failNext;
using AppleStandIns::Nothing;

const AppleStandIns::Error failure = {"com.example.domain", -25293, u"It cannot be done"};
const NSError reported = {.domain = "com.example.domain",
                          .code = -25293,
                          .userInfo = {{"NSLocalizedDescription", "It cannot be done"}},
                          .printedForm = "Error Domain=com.example.domain Code=-25293 \"It cannot be done\""};

constexpr SecKeyAlgorithm sha256 = kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256;
const Bytes message = {'m', 's', 'g'};

CFDictionary half(const Bytes& tag) {
    return {{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, tag}};
}

const CFDictionary rsa = {{kSecAttrKeyType, kSecAttrKeyTypeRSA},
                          {kSecAttrKeySizeInBits, std::int64_t{2048}},
                          {kSecPrivateKeyAttrs, half({1})},
                          {kSecPublicKeyAttrs, half({2})}};

CFDictionary lookup(const Bytes& tag) {
    return {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, tag}, {kSecReturnRef, true}};
}

class AppleKeys : public AppleDeviceTest {
  protected:
    static SecKeyRef privateKey() {
        SecKeyRef key = SecKeyCreateRandomKey(rsa, nullptr);
        EXPECT_NE(key, nullptr);
        return key;
    }
};

TEST_F(AppleKeys, AreMadeAsTheParametersSayEntryForEntry) {
    std::optional<NSError> error;
    EXPECT_NE(SecKeyCreateRandomKey(rsa, &error), nullptr);

    EXPECT_EQ(error, std::nullopt);
    EXPECT_EQ(calls(),
              std::vector<std::string>{
                  "SecKeyCreateRandomKey {kSecAttrKeyType: kSecAttrKeyTypeRSA, kSecAttrKeySizeInBits: "
                  "2048, kSecPrivateKeyAttrs: {kSecAttrIsPermanent: true, kSecAttrApplicationTag: <01>}, "
                  "kSecPublicKeyAttrs: {kSecAttrIsPermanent: true, kSecAttrApplicationTag: <02>}}"});
}

TEST_F(AppleKeys, AreFoundInTheKeychainByTheirTags) {
    const SecKeyRef made = privateKey();

    SecItemResult found;
    ASSERT_EQ(SecItemCopyMatching(lookup({2}), &found), errSecSuccess);
    const auto* publicKey = std::get_if<SecKeyRef>(&found);
    ASSERT_NE(publicKey, nullptr);
    EXPECT_EQ(SecKeyCopyExternalRepresentation(*publicKey, nullptr),
              SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(made), nullptr));
}

TEST_F(AppleKeys, AreNotMadeWhenTheFrameworkFailsWithAnError) {
    failNext("SecKeyCreateRandomKey", failure);

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey(rsa, &error), nullptr);
    EXPECT_EQ(error, reported);
}

TEST_F(AppleKeys, AreNotMadeWhenTheFrameworkFailsAndNobodyWantsTheReason) {
    failNext("SecKeyCreateRandomKey", failure);

    EXPECT_EQ(SecKeyCreateRandomKey(rsa, nullptr), nullptr);
}

TEST_F(AppleKeys, AreNotMadeWhenTheFrameworkGivesNothingAndNoError) {
    failNext("SecKeyCreateRandomKey", Nothing{});

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey(rsa, &error), nullptr);
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, AreNotMadeFromParametersThatCannotBeMade) {
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey({{kSecAttrAccount, "\xC0"}}, &error), nullptr);
    EXPECT_EQ(error, (NSError{.domain = "NSOSStatusErrorDomain", .code = errSecParam}));
    EXPECT_EQ(calls(), std::vector<std::string>{});
}

TEST_F(AppleKeys, AreNotMadeFromParametersThatCannotBeMadeWhenNobodyWantsTheReason) {
    EXPECT_EQ(SecKeyCreateRandomKey({{kSecAttrAccount, "\xC0"}}, nullptr), nullptr);
}

TEST_F(AppleKeys, TakeAnAccessControlIntoTheirParameters) {
    std::optional<NSError> error;
    const SecAccessControlRef accessControl = SecAccessControlCreateWithFlags(
        kSecAttrAccessibleAfterFirstUnlock, kSecAccessControlPrivateKeyUsage, &error);
    ASSERT_NE(accessControl, nullptr);

    SecItemDelete({{kSecAttrAccessControl, accessControl}});
    EXPECT_EQ(error, std::nullopt);
    EXPECT_EQ(
        calls().back(),
        "SecItemDelete {kSecAttrAccessControl: kSecAttrAccessibleAfterFirstUnlock with flags 1073741824}");
}

TEST_F(AppleKeys, ReportWhyThereIsNoAccessControl) {
    failNext("SecAccessControlCreateWithFlags", failure);

    std::optional<NSError> error;
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 0, &error), nullptr);
    EXPECT_EQ(error, reported);
}

TEST_F(AppleKeys, GiveNoAccessControlWhenTheFrameworkGivesNothingAndNoError) {
    failNext("SecAccessControlCreateWithFlags", Nothing{});

    std::optional<NSError> error;
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 0, &error), nullptr);
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, HaveNoPublicHalfWhereTheFrameworkGivesNone) {
    failNext("SecKeyCopyPublicKey", Nothing{});

    EXPECT_EQ(SecKeyCopyPublicKey(privateKey()), nullptr);
}

TEST_F(AppleKeys, AreExportedAsTheFrameworkExportsThem) {
    const std::optional<Bytes> exported =
        SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(privateKey()), nullptr);

    ASSERT_TRUE(exported.has_value());
    EXPECT_EQ(exported->size(), 270U);
    EXPECT_THAT(Bytes(exported->begin(), exported->begin() + 8),
                testing::ElementsAre(0x30, 0x82, 0x01, 0x0A, 0x02, 0x82, 0x01, 0x01));
}

TEST_F(AppleKeys, ReportWhyTheyCannotBeExported) {
    const SecKeyRef key = privateKey();
    failNext("SecKeyCopyExternalRepresentation", failure);

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCopyExternalRepresentation(key, &error), std::nullopt);
    EXPECT_EQ(error, reported);
}

TEST_F(AppleKeys, AreNotExportedWhenTheFrameworkGivesNothingAndNoError) {
    const SecKeyRef key = privateKey();
    failNext("SecKeyCopyExternalRepresentation", Nothing{});

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCopyExternalRepresentation(key, &error), std::nullopt);
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, TellTheirBlockSize) {
    EXPECT_EQ(SecKeyGetBlockSize(privateKey()), 256U);
}

TEST_F(AppleKeys, MakeSignaturesThatTheirPublicHalvesVerify) {
    const SecKeyRef key = privateKey();
    std::optional<NSError> error;

    const std::optional<Bytes> signature = SecKeyCreateSignature(key, sha256, message, &error);

    ASSERT_TRUE(signature.has_value());
    EXPECT_TRUE(SecKeyVerifySignature(SecKeyCopyPublicKey(key), sha256, message, *signature, &error));
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, SignNoBytesAtAll) {
    const SecKeyRef key = privateKey();

    const std::optional<Bytes> signature = SecKeyCreateSignature(key, sha256, {}, nullptr);

    ASSERT_TRUE(signature.has_value());
    EXPECT_TRUE(SecKeyVerifySignature(SecKeyCopyPublicKey(key), sha256, {}, *signature, nullptr));
}

TEST_F(AppleKeys, ReportWhyTheyDoNotSign) {
    const SecKeyRef key = privateKey();
    failNext("SecKeyCreateSignature", failure);

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateSignature(key, sha256, message, &error), std::nullopt);
    EXPECT_EQ(error, reported);
}

TEST_F(AppleKeys, DoNotSignWhenTheFrameworkGivesNothingAndNoError) {
    const SecKeyRef key = privateKey();
    failNext("SecKeyCreateSignature", Nothing{});

    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateSignature(key, sha256, message, &error), std::nullopt);
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, ReportWhyASignatureIsNotTheirs) {
    const SecKeyRef publicKey = SecKeyCopyPublicKey(privateKey());

    std::optional<NSError> error;
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, sha256, message, Bytes(256), &error));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain, "NSOSStatusErrorDomain");
    EXPECT_EQ(error->code, -67808);
    EXPECT_EQ(error->localizedDescription(), "The signature is not the key’s");
}

TEST_F(AppleKeys, DoNotVerifyWhenTheFrameworkSaysNoAndGivesNoError) {
    const SecKeyRef publicKey = SecKeyCopyPublicKey(privateKey());
    failNext("SecKeyVerifySignature", Nothing{});

    std::optional<NSError> error;
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, sha256, message, Bytes(256), &error));
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleKeys, LeaveTheErrorAsItWasWhenTheFrameworkSucceedsAndGivesOneAllTheSame) {
    const AppleStandIns::ErrorAllTheSame beside = {failure};
    const NSError earlier = {.domain = "earlier", .code = 7};
    std::optional<NSError> error = earlier;

    failNext("SecKeyCreateRandomKey", beside);
    const SecKeyRef key = SecKeyCreateRandomKey(rsa, &error);
    ASSERT_NE(key, nullptr);
    failNext("SecKeyCopyExternalRepresentation", beside);
    EXPECT_NE(SecKeyCopyExternalRepresentation(key, &error), std::nullopt);
    failNext("SecKeyCreateSignature", beside);
    const std::optional<Bytes> signature = SecKeyCreateSignature(key, sha256, message, &error);
    ASSERT_NE(signature, std::nullopt);
    failNext("SecKeyVerifySignature", beside);
    EXPECT_TRUE(SecKeyVerifySignature(SecKeyCopyPublicKey(key), sha256, message, *signature, &error));
    failNext("SecAccessControlCreateWithFlags", beside);
    EXPECT_NE(SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 0, &error), nullptr);

    EXPECT_EQ(error, earlier);
}

TEST_F(AppleKeys, ReportEachUnpairedSurrogateOfADescriptionAsOneReplacementCharacter) {
    failNext("SecKeyCreateRandomKey", AppleStandIns::Error{"d", 1, u"x\xD800y\xD83D\xDE00\xDE00\xD83D"});

    std::optional<NSError> error;
    SecKeyCreateRandomKey(rsa, &error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->localizedDescription(), "x\uFFFDy\U0001F600\uFFFD\uFFFD");
}

}  // namespace
}  // namespace KavrelCrypto
