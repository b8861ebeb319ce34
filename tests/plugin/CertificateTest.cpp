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

TEST_F(PluginStoreCertificate, LineEndsAndIndentationDoNotMatter) {
    const std::string clean = saraCertificatePem();
    expectStored(replaced(clean, "\n", "\r\n"));
    expectStored(replaced(clean, "\n", "\r"));
    expectStored(replaced(clean, "\n", "\n    "));
    expectStored("\n\n\t" + replaced(clean, "\n", "\n\n") + "  ");
    expectStored(clean.substr(0, clean.size() - 1));
}

TEST_F(PluginStoreCertificate, TheBodyMayStandOnOneLine) {
    const std::string body = OpenSSL::base64(saraCertificate());
    expectStored("-----BEGIN CERTIFICATE-----\n" + body + "\n-----END CERTIFICATE-----\n");
    expectStored("-----BEGIN CERTIFICATE-----" + body + "-----END CERTIFICATE-----");
}

TEST_F(PluginStoreCertificate, TheMarkersMayBeMissing) {
    const std::string body = OpenSSL::base64(saraCertificate());
    expectStored(body);
    expectStored("-----BEGIN CERTIFICATE-----" + body);
    expectStored(body + "-----END CERTIFICATE-----");
}

TEST_F(PluginStoreCertificate, MarkersAreTakenOutWhereverTheyStand) {
    const std::string begin = "-----BEGIN CERTIFICATE-----";
    const std::string end = "-----END CERTIFICATE-----";
    const std::string body = OpenSSL::base64(saraCertificate());
    expectStored(begin + begin + body + end + end);
    expectStored(end + body + begin);
    expectStored(body.substr(0, 10) + begin + body.substr(10, 10) + end + body.substr(20));
    // The end marker is taken out second, so it may hold a begin marker.
    expectStored(body + "-----END " + begin + "CERTIFICATE-----");
}

TEST_F(PluginStoreCertificate, AllWhiteSpaceOfThePlatformIsSkipped) {
    const std::vector<std::string> whiteSpace = {
        "\t",     "\n",     "\v",     "\f",     "\r",     " ",      "\u0085", "\u00A0", "\u1680",
        "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007", "\u2008",
        "\u2009", "\u200A", "\u200B", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000",
    };
    ASSERT_EQ(whiteSpace.size(), 26U);
    const std::string body = OpenSSL::base64(saraCertificate());
    std::string all;
    for (const std::string& space : whiteSpace) {
        expectStored(body.substr(0, 101) + space + body.substr(101));
        all += space;
    }
    expectStored(all + body + all);
}

TEST_F(PluginStoreCertificate, AMegabyteOfBlanksIsSkipped) {
    expectStored(std::string(1'000'000, ' ') + saraCertificatePem());
}

TEST_F(PluginStoreCertificate, BitsBehindTheLastByteAreNotLookedAt) {
    // A certificate whose base64 ends in "==": the last digit before it carries four bits of no byte.
    Bytes der = saraCertificate();
    for (std::string subject = "S"; der.size() % 3 != 1; subject += 'S') {
        der = OpenSSL::certificate(saraKey(), {.subject = subject});
    }
    std::string body = OpenSSL::base64(der);
    ASSERT_TRUE(body.ends_with("=="));
    char& last = body[body.size() - 3];
    last = static_cast<char>(last + 1);
    ASSERT_EQ(OpenSSL::fromBase64(body), der);
    expectStored(body);
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

TEST_F(PluginStoreCertificateRefusals, LowerCaseMarkersAreNotRemoved) {
    const std::string clean = saraCertificatePem();
    expectRefused(replaced(replaced(clean, "BEGIN CERTIFICATE", "begin certificate"), "END CERTIFICATE",
                           "end certificate"));
    expectRefused(replaced(clean, "-----END CERTIFICATE-----", "-----End Certificate-----"));
}

TEST_F(PluginStoreCertificateRefusals, OtherMarkersAreNotRemoved) {
    const std::string clean = saraCertificatePem();
    expectRefused(replaced(clean, "CERTIFICATE", "X509 CERTIFICATE"));
    expectRefused(replaced(clean, "CERTIFICATE", "TRUSTED CERTIFICATE"));
    expectRefused(replaced(clean, "-----BEGIN CERTIFICATE-----", "----BEGIN CERTIFICATE----"));
    expectRefused(replaced(clean, "BEGIN CERTIFICATE", "BEGIN\u00A0CERTIFICATE"));
    expectRefused(replaced(clean, "-----", "—————"));
    // A begin marker that shows only once the end marker is out has been passed over.
    expectRefused(OpenSSL::base64(saraCertificate()) +
                  "-----BEGIN -----END CERTIFICATE-----CERTIFICATE-----");
}

TEST_F(PluginStoreCertificateRefusals, CommentsAroundACertificateMakeItInvalid) {
    const std::string clean = saraCertificatePem();
    expectRefused("subject=CN = 0012345678\n" + clean);
    expectRefused("Sara\n" + clean);
    expectRefused(clean + "# issued today\n");
    expectRefused(replaced(clean, "-----BEGIN CERTIFICATE-----\n",
                           "-----BEGIN CERTIFICATE-----\nComment: the certificate of Sara\n\n"));
}

TEST_F(PluginStoreCertificateRefusals, InvisibleCharactersThatAreNotWhiteSpaceMakeACertificateInvalid) {
    const std::string body = OpenSSL::base64(saraCertificate());
    for (const std::string& invisible : {"\u200D"s, "\uFEFF"s, "\u00AD"s, "\u180E"s, "\u200C"s, "\u200F"s,
                                         "\u2060"s, "\u0000"s, "\u001F"s}) {
        expectRefused(invisible + body);
        expectRefused(body.substr(0, 101) + invisible + body.substr(101));
        expectRefused(body + invisible);
    }
}

TEST_F(PluginStoreCertificateRefusals, StringsThatAreNotACertificateAreNotValid) {
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const std::string texts[] = {
        " ",
        "\n",
        "A",
        "AAAA",
        "=",
        "====",
        "null",
        "{}",
        "0",
        "\0"s,
        "👩🏽‍💻",
        "\u202Eאבג\u202C",
        "'; DROP TABLE items; --",
        "-----BEGIN CERTIFICATE-----",
        "-----BEGIN CERTIFICATE----------END CERTIFICATE-----",
        "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n",
        publicKeyPem(sara),
        text(call("createCSR", request(identity(sara))), "csrPem"),
        OpenSSL::pem(key),
        OpenSSL::pem(Bytes{0x30, 0x00}),
        OpenSSL::pem(Bytes{0x30, 0x80, 0x00, 0x00}),
        OpenSSL::pem(Bytes{0x30, 0x84, 0xFF, 0xFF, 0xFF, 0xFF}),
        OpenSSL::pem(Bytes(1000, 0x30)),
        replaced(OpenSSL::base64(saraCertificate()), "+", "-"),
        std::string(1'000'000, 'A'),
        std::string(1'000'001, 'A'),
        std::string(1'000'000, '\0'),
    };
    for (const std::string& text : texts) {
        expectRefused(text);
    }
}

}  // namespace
}  // namespace KavrelCrypto
