// The key operations of the Apple device.

#include <functional>
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

constexpr SecKeyAlgorithm sha256 = kSecKeyAlgorithmECDSASignatureMessageX962SHA256;
const Bytes message = {'m', 's', 'g'};

CFDictionary half(const Bytes& tag) {
    return {{kSecAttrIsPermanent, true}, {kSecAttrApplicationTag, tag}};
}

const CFDictionary p256 = {{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom},
                           {kSecAttrKeySizeInBits, std::int64_t{256}},
                           {kSecPrivateKeyAttrs, half({1})},
                           {kSecPublicKeyAttrs, half({2})}};

class AppleKeys : public AppleDeviceTest {
  protected:
    const SecKeyRef key = SecKeyCreateRandomKey(p256, nullptr);
    const SecKeyRef publicKey = SecKeyCopyPublicKey(key);
};

TEST_F(AppleKeys, AreMadeAsTheParametersSayEntryForEntry) {
    EXPECT_NE(key, nullptr);
    EXPECT_EQ(calls().front(),
              "SecKeyCreateRandomKey {kSecAttrKeyType: kSecAttrKeyTypeECSECPrimeRandom, "
              "kSecAttrKeySizeInBits: 256, "
              "kSecPrivateKeyAttrs: {kSecAttrIsPermanent: true, kSecAttrApplicationTag: <01>}, "
              "kSecPublicKeyAttrs: {kSecAttrIsPermanent: true, kSecAttrApplicationTag: <02>}}");
}

TEST_F(AppleKeys, ReportTheFrameworksErrorWhereItFailsWithOneAndOnlyThere) {
    using ErrorPlace = std::optional<NSError>*;
    const Bytes signature = SecKeyCreateSignature(key, sha256, message, nullptr).value();
    const std::pair<const char*, std::function<bool(ErrorPlace)>> operations[] = {
        {"SecKeyCreateRandomKey",
         [](ErrorPlace error) { return SecKeyCreateRandomKey(p256, error) != nullptr; }},
        {"SecKeyCopyExternalRepresentation",
         [&](ErrorPlace error) { return SecKeyCopyExternalRepresentation(publicKey, error).has_value(); }},
        {"SecKeyCreateSignature",
         [&](ErrorPlace error) { return SecKeyCreateSignature(key, sha256, message, error).has_value(); }},
        {"SecKeyVerifySignature",
         [&](ErrorPlace error) {
             return SecKeyVerifySignature(publicKey, sha256, message, signature, error);
         }},
        {"SecAccessControlCreateWithFlags",
         [](ErrorPlace error) {
             return SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 0, error) != nullptr;
         }},
    };
    struct Ending {
        AppleStandIns::Failure ordered;
        bool success;
        NSError error;
    };
    const NSError earlier = {.domain = "earlier", .code = 7};
    const Ending endings[] = {
        {failure, false, reported},
        {Nothing{}, false, earlier},
        {AppleStandIns::ErrorAllTheSame{failure}, true, earlier},
    };
    for (const auto& [name, succeeds] : operations) {
        SCOPED_TRACE(name);
        for (const Ending& ending : endings) {
            std::optional<NSError> error = earlier;
            failNext(name, ending.ordered);
            EXPECT_EQ(succeeds(&error), ending.success);
            EXPECT_EQ(error, ending.error);
            failNext(name, ending.ordered);
            EXPECT_EQ(succeeds(nullptr), ending.success) << "where nobody wants the reason";
        }
    }
}

TEST_F(AppleKeys, AreNotMadeFromParametersThatCannotBeMade) {
    const std::size_t callsBefore = calls().size();
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateRandomKey({{kSecAttrAccount, "\xC0"}}, &error), nullptr);
    EXPECT_EQ(error, (NSError{.domain = "NSOSStatusErrorDomain", .code = errSecParam}));
    EXPECT_EQ(SecKeyCreateRandomKey({{kSecAttrAccount, "\xC0"}}, nullptr), nullptr);
    EXPECT_EQ(calls().size(), callsBefore);
}

TEST_F(AppleKeys, TakeAnAccessControlIntoTheirParameters) {
    const SecAccessControlRef accessControl = SecAccessControlCreateWithFlags(
        kSecAttrAccessibleAfterFirstUnlock, kSecAccessControlPrivateKeyUsage, nullptr);
    SecItemDelete({{kSecAttrAccessControl, accessControl}});
    EXPECT_EQ(
        calls().back(),
        "SecItemDelete {kSecAttrAccessControl: kSecAttrAccessibleAfterFirstUnlock with flags 1073741824}");
}

TEST_F(AppleKeys, HaveNoPublicHalfWhereTheFrameworkGivesNone) {
    failNext("SecKeyCopyPublicKey", Nothing{});
    EXPECT_EQ(SecKeyCopyPublicKey(key), nullptr);
}

TEST_F(AppleKeys, ReportWhyASignatureIsNotTheirs) {
    std::optional<NSError> error;
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, sha256, message, Bytes(256), &error));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code, -67808);
    EXPECT_EQ(error->localizedDescription(), "The signature is not the key’s");
}

}  // namespace
}  // namespace KavrelCrypto
