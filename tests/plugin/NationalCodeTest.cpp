// "nationalCode", which names a person's keys byte for byte, whatever string it is.

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

using namespace std::string_literals;

const std::vector<std::string>& unusualAliases() {
    static const std::vector<std::string> aliases = {
        "",
        "\0"s,
        "ab",
        "ab\0cd"s,
        "شماره ملی ۰۰۱۲۳۴۵۶۷۸",
        "\u202Eאבג\u202C",
        "👩🏽‍💻",
        "\uFEFF0012345678 with a mark before it",
        "0012345678\0\uFEFFand one after a NUL"s,
        "'; DROP TABLE items; --",
        "%",
        std::string(1'000'000, '7'),
    };
    return aliases;
}

/// Aliases that nobody has, each of which differs a little from one above.
const std::vector<std::string>& nearMisses() {
    static const std::vector<std::string> aliases = {
        " ",
        "\0\0"s,
        "AB",
        "ab ",
        " ab",
        "ab\n",
        "a",
        "abc",
        "ab\0"s,
        "ab\0ce"s,
        "ab.cd",
        "_b",
        "a%",
        "*",
        "%%",
        "ab\u200B",
        "👩🏽",
        "' OR 1=1",
        "أب",
        "\u202Eאבג",
        "0012345678",
        "0012345678 with a mark before it",
        "'; DROP TABLE items; -- ",
        std::string(999'999, '7'),
        std::string(1'000'001, '7'),
    };
    return aliases;
}

/// The persons with the unusual aliases have keys, which the tests of the suite share and must not replace.
class NationalCode : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        DeviceUnderTest::startNew();
        for (const std::string& alias : unusualAliases()) {
            ASSERT_EQ(call("ensureKey", person(alias)), resolved({{"ok", true}})) << alias.substr(0, 40);
        }
    }

    void SetUp() override {
        DeviceUnderTest::answerPrompts(DeviceUnderTest::PromptAnswer::match);
    }
};

TEST_F(NationalCode, IsReturnedUnchangedAndHasAKeyOfItsOwn) {
    std::set<std::string> keys;
    for (const std::string& alias : unusualAliases()) {
        const Outcome info = call("getKeyInfo", person(alias));
        EXPECT_TRUE(text(info, "alias") == alias) << alias.substr(0, 40);
        keys.insert(text(info, "publicKeyPem"));
    }
    EXPECT_EQ(keys.size(), unusualAliases().size());
}

TEST_F(NationalCode, NamesSomebodyElseWhenOneCharacterDiffers) {
    for (const std::string& alias : nearMisses()) {
        EXPECT_EQ(call("hasKey", person(alias)), resolved({{"exists", false}})) << alias.substr(0, 40);
    }
}

TEST_F(NationalCode, KeepsItsKeyWhenSomebodyElsesIsDeleted) {
    for (const std::string& alias : nearMisses()) {
        EXPECT_EQ(call("deleteKey", person(alias)), resolved({{"deleted", true}})) << alias.substr(0, 40);
    }
    for (const std::string& alias : unusualAliases()) {
        EXPECT_EQ(call("hasKey", person(alias)), resolved({{"exists", true}})) << alias.substr(0, 40);
    }
}

TEST_F(NationalCode, HasASignatureACertificateAndARequestOfItsOwnKey) {
    const Bytes digest(32, 0x5A);
    for (const std::string& alias : unusualAliases()) {
        SCOPED_TRACE(alias.substr(0, 40));
        const OpenSSL::Key key = OpenSSL::publicKey(publicKeyPem(alias));
        const Outcome signature = sign(alias, OpenSSL::base64(digest));
        EXPECT_TRUE(OpenSSL::verifies(key, digest, OpenSSL::fromBase64(text(signature, "signatureB64"))));
        const std::string pem = OpenSSL::pem(OpenSSL::certificate(key, {.subject = "?"}));
        EXPECT_EQ(call("storeCertificate", certificateOf(alias, pem)), resolved({{"stored", true}}));
        if (!alias.empty()) {  // nobody asks for a request without a code
            EXPECT_FALSE(text(call("createCSR", request(identity(alias))), "csrPem").empty());
            EXPECT_EQ(OpenSSL::rsaPublicKey(OpenSSL::publicKey(publicKeyPem(alias))),
                      OpenSSL::rsaPublicKey(key));
        }
    }
}

}  // namespace
}  // namespace KavrelCrypto
