// "storeCertificate": which texts are the certificate of a person's key, and which are not.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/plugin/People.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using namespace std::string_literals;

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

class PluginStoreCertificate : public WithSaraEnrolled {
  protected:
    static void expectStored(const std::string& certPem) {
        EXPECT_EQ(call("storeCertificate", certificateOf(sara, certPem)), resolved({{"stored", true}}));
        EXPECT_EQ(slot(), certPem);
    }
};

TEST_F(PluginStoreCertificate, ACertificateForThePersonsKeyIsKeptAsItCame) {
    const std::string issued = OpenSSL::pem(OpenSSL::certificate(saraKey(), {.subject = "Sara Mohammadi"}));
    expectStored(issued);
    EXPECT_EQ(call("getCertificate", person(sara)), resolved({{"certPem", issued}}));
    EXPECT_EQ(text(call("getKeyInfo", person(sara)), "certificate"), issued);
}

TEST_F(PluginStoreCertificate, WhiteSpaceAndMarkersDoNotMatter) {
    const std::string clean = saraCertificatePem();
    expectStored(replaced(clean, "\n", "\r\n"));
    expectStored("\n\t" + replaced(clean, "\n", "\n  \u00A0") + std::string(1'000'000, ' '));
    const std::string begin = "-----BEGIN CERTIFICATE-----";
    const std::string end = "-----END CERTIFICATE-----";
    const std::string body = OpenSSL::base64(saraCertificate());
    expectStored(body);
    expectStored(begin + body);
    expectStored(body + end);
    expectStored(body.substr(0, 10) + begin + body.substr(10, 10) + end + body.substr(20));
}

TEST_F(PluginStoreCertificate, DatesDoNotMatter) {
    expectStored(OpenSSL::pem(
        OpenSSL::certificate(saraKey(), {.notBefore = "20000101000000Z", .notAfter = "20001231235959Z"})));
    expectStored(OpenSSL::pem(
        OpenSSL::certificate(saraKey(), {.notBefore = "20900101000000Z", .notAfter = "20991231235959Z"})));
}

TEST_F(PluginStoreCertificate, ASelfSignedCertificateIsAsGoodAsAnother) {
    // Sara signs it herself: the plugin's signature over the part to be signed takes the authority's place.
    Bytes der = OpenSSL::certificate(saraKey(), {.subject = "Sara", .issuer = "Sara"});
    const Outcome outcome = sign(sara, OpenSSL::base64(OpenSSL::signedPart(der)));
    const Bytes signature = OpenSSL::fromBase64(text(outcome, "signatureB64"));
    ASSERT_EQ(signature.size(), 256U);
    std::copy(signature.begin(), signature.end(), der.end() - 256);
    ASSERT_TRUE(OpenSSL::isSignedBy(der, saraKey()));
    expectStored(OpenSSL::pem(der));
}

TEST_F(PluginStoreCertificate, NeitherSubjectNorIssuerMatters) {
    expectStored(OpenSSL::pem(OpenSSL::certificate(saraKey(), {.subject = "Omid", .issuer = "somebody"})));
}

TEST_F(PluginStoreCertificate, BytesBehindTheCertificateAreNotLookedAt) {
    const Bytes certificate = saraCertificate();
    for (const Bytes& behind : {hex("00"), hex("30"), hex("30 80"), Bytes(100, 0xFF), certificate}) {
        expectStored(OpenSSL::pem(certificate + behind));
    }
}

TEST_F(PluginStoreCertificate, OfTwoJoinedCertificatesTheFirstOneCountsUnlessPaddingComesBetween) {
    const std::string another = OpenSSL::pem(OpenSSL::certificate(OpenSSL::authorityKey()));
    std::string subject = "S";
    for (int i = 0; i < 3; ++i, subject += 'S') {  // so that the size leaves each remainder by three
        const Bytes certificate = OpenSSL::certificate(saraKey(), {.subject = subject});
        const std::string pem = OpenSSL::pem(certificate);
        if (certificate.size() % 3 == 0) {
            expectStored(pem + another);
            expectStored(pem + pem);
        } else {
            EXPECT_EQ(call("storeCertificate", certificateOf(sara, pem + another)),
                      rejected("Certificate is not valid"));
        }
        EXPECT_EQ(call("storeCertificate", certificateOf(sara, another + pem)),
                  rejected("Certificate is not valid"));
    }
}

/// Each text is refused, and the slot keeps what it holds.
class PluginStoreCertificateRefusals : public WithSaraUntouched {
  protected:
    static void expectRefused(const std::string& certPem) {
        EXPECT_EQ(call("storeCertificate", certificateOf(sara, certPem)),
                  rejected("Certificate is not valid"))
            << certPem.substr(0, 200);
    }
};

TEST_F(PluginStoreCertificateRefusals, ACertificateForAnotherKeyIsNotValid) {
    expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::authorityKey())));
}

TEST_F(PluginStoreCertificateRefusals, ACertificateForAKeyOfAnotherKindIsNotValid) {
    for (const char* kind : {"ED25519", "ED448", "X25519"}) {
        SCOPED_TRACE(kind);
        expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::newKey(kind))));
    }
    for (const char* curve : {"P-256", "P-384", "P-521", "secp256k1"}) {
        SCOPED_TRACE(curve);
        expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::newECKey(curve))));
    }
    expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::newRSAKey(1024))));
}

TEST_F(PluginStoreCertificateRefusals, ThePersonsModulusAloneIsNotThePersonsKey) {
    expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::withExponent(saraKey(), 3))));
    expectRefused(OpenSSL::pem(OpenSSL::certificate(OpenSSL::forPSSOnly(saraKey()))));
}

TEST_F(PluginStoreCertificateRefusals, CommentsAroundACertificateMakeItInvalid) {
    const std::string clean = saraCertificatePem();
    expectRefused("subject=CN = 0012345678\n" + clean);
    expectRefused("Sara\n" + clean);
    expectRefused(clean + "# issued today\n");
    expectRefused(replaced(clean, "-----BEGIN CERTIFICATE-----\n",
                           "-----BEGIN CERTIFICATE-----\nComment: the certificate of Sara\n\n"));
}

TEST_F(PluginStoreCertificateRefusals, StringsThatAreNotACertificateAreNotValid) {
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const std::string texts[] = {
        " ",
        "A",
        "AAAA",
        "\0"s,
        "👩🏽‍💻",
        "-----BEGIN CERTIFICATE----------END CERTIFICATE-----",
        "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n",
        publicKeyPem(sara),
        text(call("createCSR", request(identity(sara))), "csrPem"),
        OpenSSL::pem(key),
        OpenSSL::pem(Bytes{0x30, 0x00}),
        OpenSSL::pem(Bytes{0x30, 0x80, 0x00, 0x00}),
        OpenSSL::pem(Bytes{0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF}),
        OpenSSL::pem(Bytes(1000, 0x30)),
        replaced(saraCertificatePem(), "CERTIFICATE", "TRUSTED CERTIFICATE"),
        std::string(1'000'000, 'A'),
    };
    for (const std::string& text : texts) {
        expectRefused(text);
    }
}

}  // namespace
}  // namespace KavrelCrypto
