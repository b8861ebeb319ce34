// Arguments that the plugin cannot use. It rejects the call and touches neither a key nor the certificate
// slot.

#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"

namespace KavrelCrypto {
namespace {

constexpr const char* methodsAboutAPerson[] = {
    "hasKey", "getKeyInfo", "deleteKey", "storeCertificate", "getCertificate", "signDigest", "ensureKey",
};

using PluginArguments = WithSaraUntouched;

TEST_F(PluginArguments, ACallWithoutAnArgumentMapLacksItsNationalCode) {
    for (const char* method : methodsAboutAPerson) {
        SCOPED_TRACE(method);
        EXPECT_EQ(call(method, std::nullopt), rejected("nationalCode required"));
    }
}

TEST_F(PluginArguments, ACallWithoutANationalCodeIsRejected) {
    const JSObject everythingElse = {
        {"NationalCode", sara}, {"nationalcode", sara}, {"alias", sara},
        {"certPem", "x"},       {"digestB64", "AAAA"},  {"userInfo", identity(sara)},
    };
    for (const char* method : methodsAboutAPerson) {
        SCOPED_TRACE(method);
        EXPECT_EQ(call(method, JSObject()), rejected("nationalCode required"));
        EXPECT_EQ(call(method, everythingElse), rejected("nationalCode required"));
    }
}

TEST_F(PluginArguments, ANationalCodeThatIsNotAStringIsRejected) {
    for (const char* method : methodsAboutAPerson) {
        for (const JSValue& value : valuesThatAreNotStrings()) {
            SCOPED_TRACE(std::string(method) + " with " + testing::PrintToString(value));
            const JSObject arguments = {
                {"nationalCode", value}, {"certPem", saraCertificatePem()}, {"digestB64", "AAAA"}};
            EXPECT_EQ(call(method, arguments), rejected("nationalCode required"));
        }
    }
    EXPECT_TRUE(promptsShown().empty());
}

TEST_F(PluginArguments, ACertificateThatIsNotAStringIsRejected) {
    EXPECT_EQ(call("storeCertificate", person(sara)), rejected("Provide certPem"));
    EXPECT_EQ(call("storeCertificate", certificateOf(sara, "")), rejected("Provide certPem"));
    for (const JSValue& value : valuesThatAreNotStrings()) {
        EXPECT_EQ(call("storeCertificate", with(person(sara), "certPem", value)), rejected("Provide certPem"))
            << testing::PrintToString(value);
    }
}

TEST_F(PluginArguments, ACertificateIsRequiredBeforeTheKeyIsLookedUp) {
    EXPECT_EQ(call("storeCertificate", person("nobody")), rejected("Provide certPem"));
}

TEST_F(PluginArguments, TheKeyIsLookedUpBeforeTheCertificateIsRead) {
    EXPECT_EQ(call("storeCertificate", certificateOf("nobody", "this is no certificate")),
              rejected("Certificate is not valid (key missing)"));
}

TEST_F(PluginArguments, ADigestThatIsNotAStringIsInvalid) {
    EXPECT_EQ(call("signDigest", person(sara)), rejected("invalid digestB64"));
    for (const JSValue& value : valuesThatAreNotStrings()) {
        EXPECT_EQ(call("signDigest", with(person(sara), "digestB64", value)), rejected("invalid digestB64"))
            << testing::PrintToString(value);
    }
    EXPECT_TRUE(promptsShown().empty());
}

TEST_F(PluginArguments, ACallOfCreateCSRWithoutUserInfoIsRejected) {
    EXPECT_EQ(call("createCSR", JSObject()), rejected("userInfo required"));
    // Its members do not count where they stand one level too high.
    EXPECT_EQ(call("createCSR", identity(sara)), rejected("userInfo required"));
}

TEST_F(PluginArguments, UserInfoThatIsNotAnObjectIsRejected) {
    const JSValue noObjects[] = {nullptr, true,      std::int64_t{7},        0.5, "", "{}",
                                 sara,    JSArray{}, JSArray{identity(sara)}};
    for (const JSValue& value : noObjects) {
        EXPECT_EQ(call("createCSR", JSObject{{"userInfo", value}}), rejected("userInfo required"))
            << testing::PrintToString(value);
    }
}

TEST_F(PluginArguments, AnIdentityRecordWithAMemberThatIsMissingOrNotAStringIsInvalid) {
    const JSObject whole = identity(sara);
    ASSERT_EQ(whole.members().size(), 14U);
    for (const JSMember& member : whole.members()) {
        SCOPED_TRACE(member.key);
        EXPECT_EQ(call("createCSR", request(without(whole, member.key))), rejected("invalid userInfo"));
        for (const JSValue& value : valuesThatAreNotStrings()) {
            EXPECT_EQ(call("createCSR", request(with(whole, member.key, value))),
                      rejected("invalid userInfo"))
                << testing::PrintToString(value);
        }
    }
}

TEST_F(PluginArguments, MemberNamesOfAnIdentityRecordAreComparedByteForByte) {
    const JSObject misspelt = with(without(identity(sara), "enName"), "EnName", "Sara");
    EXPECT_EQ(call("createCSR", request(misspelt)), rejected("invalid userInfo"));
}

TEST_F(PluginArguments, AnEmptyNationalCodeInTheIdentityRecordIsRejected) {
    EXPECT_EQ(call("createCSR", request(identity(""))), rejected("nationalCode required"));
    // A national code outside the record does not count.
    EXPECT_EQ(call("createCSR", with(request(identity("")), "nationalCode", sara)),
              rejected("nationalCode required"));
    EXPECT_EQ(call("hasKey", person("")), resolved({{"exists", false}}));
}

TEST_F(PluginArguments, TheRecordIsCheckedBeforeItsNationalCode) {
    EXPECT_EQ(call("createCSR", request(without(identity(""), "gender"))), rejected("invalid userInfo"));
}

TEST_F(PluginArguments, ArgumentsThatNoMethodAsksForAreIgnored) {
    JSObject arguments = person(sara);
    for (const char* key : {"", "alias", "userInfo", "digestB64", "certPem", "__proto__"}) {
        arguments = with(arguments, key, JSArray{nullptr});
    }
    EXPECT_EQ(call("hasKey", arguments), resolved({{"exists", true}}));
    EXPECT_EQ(call("getCertificate", arguments), resolved({{"certPem", saraCertificatePem()}}));
    EXPECT_EQ(call("getKeyInfo", arguments), call("getKeyInfo", person(sara)));
}

}  // namespace
}  // namespace KavrelCrypto
