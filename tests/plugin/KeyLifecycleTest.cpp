// A person's key, from "ensureKey" to "deleteKey".

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using DeviceUnderTest::keychainKey;
using DeviceUnderTest::KeyHalf;

const std::string privateTag = "com.solbera.app.privatekey.0012345678";
const std::string publicTag = "com.solbera.app.publickey.0012345678";

using PluginKeyLifecycle = OnANewDevice;

TEST_F(PluginKeyLifecycle, APersonWithoutAKeyHasNoneAndIsGivenNone) {
    EXPECT_EQ(call("getKeyInfo", person("0012345678")), rejected("not found"));
    EXPECT_EQ(call("deleteKey", person("0012345678")), resolved({{"deleted", true}}));
    EXPECT_EQ(call("hasKey", person("0012345678")), resolved({{"exists", false}}));
}

TEST_F(PluginKeyLifecycle, AKeyIsThereFromEnsureKeyToDeleteKey) {
    EXPECT_EQ(call("ensureKey", person("0012345678")), resolved({{"ok", true}}));
    EXPECT_EQ(call("hasKey", person("0012345678")), resolved({{"exists", true}}));
    EXPECT_EQ(call("deleteKey", person("0012345678")), resolved({{"deleted", true}}));
    EXPECT_EQ(call("hasKey", person("0012345678")), resolved({{"exists", false}}));
    EXPECT_EQ(call("getKeyInfo", person("0012345678")), rejected("not found"));
}

TEST_F(PluginKeyLifecycle, ADeletionPrintsTheStatusOfEachHalf) {
    const auto deleteKey = [] { call("deleteKey", person("0012345678")); };
    EXPECT_EQ(DeviceUnderTest::printedBy(deleteKey),
              "🔑 forceDeleteAllKeys private status: -25300\n"
              "🔑 forceDeleteAllKeys public  status: -25300\n");
    call("ensureKey", person("0012345678"));
    ASSERT_TRUE(DeviceUnderTest::deleteKeychainKeys(privateTag));
    EXPECT_EQ(DeviceUnderTest::printedBy(deleteKey),
              "🔑 forceDeleteAllKeys private status: -25300\n"
              "🔑 forceDeleteAllKeys public  status: 0\n");
}

TEST_F(PluginKeyLifecycle, EnsureKeyDeletesOnceMoreBeforeItGenerates) {
    call("ensureKey", person("0012345678"));
    EXPECT_EQ(DeviceUnderTest::printedBy([] { call("ensureKey", person("0012345678")); }),
              "🔑 forceDeleteAllKeys private status: 0\n"
              "🔑 forceDeleteAllKeys public  status: 0\n"
              "🔑 forceDeleteAllKeys private status: -25300\n"
              "🔑 forceDeleteAllKeys public  status: -25300\n");
}

TEST_F(PluginKeyLifecycle, EnsureKeyReplacesTheKey) {
    call("ensureKey", person("0012345678"));
    const std::string first = publicKeyPem("0012345678");
    EXPECT_EQ(call("ensureKey", person("0012345678")), resolved({{"ok", true}}));
    EXPECT_NE(publicKeyPem("0012345678"), first);
}

TEST_F(PluginKeyLifecycle, CreateCSRMakesTheKeyThatIsMissingAndKeepsTheOneThatIsThere) {
    const Outcome first = call("createCSR", request(identity("0012345678")));
    ASSERT_EQ(call("hasKey", person("0012345678")), resolved({{"exists", true}}));
    const std::string made = publicKeyPem("0012345678");
    EXPECT_EQ(call("createCSR", request(identity("0012345678"))), first);
    EXPECT_EQ(publicKeyPem("0012345678"), made);
}

TEST_F(PluginKeyLifecycle, NoPromptIsShownForAnythingButASignature) {
    DeviceUnderTest::answerPrompts(DeviceUnderTest::PromptAnswer::match);
    call("ensureKey", person("0012345678"));
    call("hasKey", person("0012345678"));
    call("getKeyInfo", person("0012345678"));
    call("createCSR", request(identity("0012345678")));
    call("storeCertificate", certificateOf("0012345678", "x"));
    call("getCertificate", person("0012345678"));
    call("getBiometricStatus", JSObject());
    call("deleteKey", person("0012345678"));
    EXPECT_TRUE(DeviceUnderTest::promptsShown().empty());
}

TEST_F(PluginKeyLifecycle, TheKeyIsKeptInTheKeychainUnderThePersonsTags) {
    call("ensureKey", person("0012345678"));
    const Bytes publicKey = OpenSSL::rsaPublicKey(OpenSSL::publicKey(publicKeyPem("0012345678")));
    EXPECT_EQ(keychainKey(KeyHalf::privateKey, privateTag), publicKey);
    EXPECT_EQ(keychainKey(KeyHalf::publicKey, publicTag), publicKey);
}

TEST_F(PluginKeyLifecycle, ALonePublicHalfIsNotAKeyAndIsReplacedWithANewPair) {
    call("ensureKey", person("0012345678"));
    const std::optional<Bytes> left = keychainKey(KeyHalf::publicKey, publicTag);
    ASSERT_TRUE(DeviceUnderTest::deleteKeychainKeys(privateTag));

    EXPECT_EQ(call("hasKey", person("0012345678")), resolved({{"exists", false}}));
    EXPECT_EQ(call("getKeyInfo", person("0012345678")), rejected("not found"));

    call("createCSR", request(identity("0012345678")));
    const Bytes made = OpenSSL::rsaPublicKey(OpenSSL::publicKey(publicKeyPem("0012345678")));
    EXPECT_NE(made, left);
    EXPECT_EQ(keychainKey(KeyHalf::publicKey, publicTag), made);
}

using PluginGetKeyInfo = WithSaraUntouched;

TEST_F(PluginGetKeyInfo, HasSixMembersInTheirOrder) {
    const std::string publicKey = publicKeyPem(sara);
    EXPECT_EQ(call("getKeyInfo", person(sara)), resolved({
                                                    {"alias", sara},
                                                    {"alg", "RSA_2048"},
                                                    {"createdAt", "unknown"},
                                                    {"hardwareBacked", false},
                                                    {"publicKeyPem", publicKey},
                                                    {"certificate", saraCertificatePem()},
                                                }));
}

TEST_F(PluginGetKeyInfo, HasThePublicKeyOfThePersonsRequestInPEMByteForByte) {
    // OpenSSL takes the same key out of the person's request.
    const Outcome created = call("createCSR", request(identity(sara)));
    const OpenSSL::Request parsed = OpenSSL::parsedRequest(OpenSSL::fromBase64(text(created, "csrPem")));
    ASSERT_NE(parsed, nullptr);
    const OpenSSL::Key key(X509_REQ_get_pubkey(parsed.get()), EVP_PKEY_free);
    ASSERT_EQ(EVP_PKEY_get_bits(key.get()), 2048);

    const std::string body = OpenSSL::base64(OpenSSL::rsaPublicKey(key));
    ASSERT_EQ(body.size(), 360U);
    std::string expected = "-----BEGIN PUBLIC KEY-----\n";
    for (std::size_t i = 0; i < 320; i += 64) {
        expected += body.substr(i, 64) + "\r\n";
    }
    expected += body.substr(320) + "\n-----END PUBLIC KEY-----";
    EXPECT_EQ(publicKeyPem(sara), expected);
}

TEST_F(PluginGetKeyInfo, HasAKeyWhosePublicExponentIs65537) {
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const Bytes end = hex("02 03 01 00 01");
    EXPECT_TRUE(std::equal(end.rbegin(), end.rend(), key.rbegin()));
}

}  // namespace
}  // namespace KavrelCrypto
