// The certificate slot, which all persons share.

#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

const Outcome noCertificate = resolved({{"certPem", nullptr}});

OpenSSL::Key keyOf(const std::string& nationalCode) {
    return OpenSSL::publicKey(publicKeyPem(nationalCode));
}

std::string issuedFor(const std::string& nationalCode) {
    return OpenSSL::pem(OpenSSL::certificate(keyOf(nationalCode), {.subject = nationalCode}));
}

Outcome stored(const std::string& nationalCode, const std::string& certPem) {
    return call("storeCertificate", certificateOf(nationalCode, certPem));
}

/// Sara and Omid have keys, which the tests of the suite share and must not replace. Each test begins with an
/// empty slot.
class PluginCertificateSlot : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        DeviceUnderTest::startNew();
        call("ensureKey", person("Sara"));
        call("ensureKey", person("Omid"));
    }

    void SetUp() override {
        call("deleteKey", person("nobody"));
    }
};

TEST_F(PluginCertificateSlot, IsEmptyAtFirst) {
    EXPECT_EQ(call("getCertificate", person("Sara")), noCertificate);
    const Outcome info = call("getKeyInfo", person("Sara"));
    EXPECT_EQ(info, resolved({
                        {"alias", "Sara"},
                        {"alg", "RSA_2048"},
                        {"createdAt", "unknown"},
                        {"hardwareBacked", false},
                        {"publicKeyPem", text(info, "publicKeyPem")},
                        {"certificate", nullptr},
                    }));
}

TEST_F(PluginCertificateSlot, IsShownToEverybody) {
    const std::string certPem = issuedFor("Sara");
    ASSERT_EQ(stored("Sara", certPem), resolved({{"stored", true}}));
    for (const char* anybody : {"Sara", "Omid", "nobody", ""}) {
        EXPECT_EQ(call("getCertificate", person(anybody)), resolved({{"certPem", certPem}})) << anybody;
    }
    EXPECT_EQ(text(call("getKeyInfo", person("Omid")), "certificate"), certPem);
}

TEST_F(PluginCertificateSlot, HoldsOnlyWhatWasStoredLastWhoeverItWasFor) {
    stored("Sara", issuedFor("Sara"));
    const std::string omids = issuedFor("Omid");
    ASSERT_EQ(stored("Omid", omids), resolved({{"stored", true}}));
    EXPECT_EQ(call("getCertificate", person("Sara")), resolved({{"certPem", omids}}));
}

TEST_F(PluginCertificateSlot, KeepsItsCertificateWhenAnotherIsRefused) {
    const std::string saras = issuedFor("Sara");
    stored("Sara", saras);
    EXPECT_EQ(stored("Omid", saras), rejected("Certificate is not valid"));
    EXPECT_EQ(stored("nobody", saras), rejected("Certificate is not valid (key missing)"));
    EXPECT_EQ(stored("Omid", "no certificate"), rejected("Certificate is not valid"));
    EXPECT_EQ(stored("Omid", ""), rejected("Provide certPem"));
    EXPECT_EQ(call("getCertificate", person("Sara")), resolved({{"certPem", saras}}));
}

TEST_F(PluginCertificateSlot, IsEmptiedWhenAnybodysKeyIsDeleted) {
    stored("Sara", issuedFor("Sara"));
    EXPECT_EQ(call("deleteKey", person("nobody")), resolved({{"deleted", true}}));
    EXPECT_EQ(call("getCertificate", person("Sara")), noCertificate);
    EXPECT_EQ(call("hasKey", person("Sara")), resolved({{"exists", true}}));

    stored("Sara", issuedFor("Sara"));
    EXPECT_EQ(call("deleteKey", person("")), resolved({{"deleted", true}}));
    EXPECT_EQ(call("getCertificate", person("Sara")), noCertificate);
}

TEST_F(PluginCertificateSlot, IsLeftAloneByRequestsAndSignatures) {
    const std::string certPem = issuedFor("Sara");
    stored("Sara", certPem);
    call("createCSR", request(identity("Sara")));
    sign("Sara", "AAAA");
    EXPECT_EQ(call("getCertificate", person("Sara")), resolved({{"certPem", certPem}}));
}

using PluginCertificateSlotOnANewDevice = OnANewDevice;

TEST_F(PluginCertificateSlotOnANewDevice, KeepsACertificateWhoseKeyIsReplacedThoughItCouldNotBeStoredAgain) {
    call("ensureKey", person("Sara"));
    const std::string certPem = issuedFor("Sara");
    stored("Sara", certPem);
    call("ensureKey", person("Sara"));
    EXPECT_EQ(call("getCertificate", person("Sara")), resolved({{"certPem", certPem}}));
    EXPECT_EQ(text(call("getKeyInfo", person("Sara")), "certificate"), certPem);
    EXPECT_EQ(stored("Sara", certPem), rejected("Certificate is not valid"));
}

}  // namespace
}  // namespace KavrelCrypto
