// "createCSR": the certification request, as OpenSSL reads it.

#include <algorithm>
#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>
#include <string>
#include <tuple>
#include <vector>

#include "tests/plugin/People.hpp"

namespace KavrelCrypto {
namespace {

/// An attribute of the subject: its type, its string type and its value.
using Attribute = std::tuple<std::string, int, std::string>;

std::vector<Attribute> subjectOf(const OpenSSL::Request& request) {
    std::vector<Attribute> attributes;
    const X509_NAME* subject = X509_REQ_get_subject_name(request.get());
    for (int i = 0; i < X509_NAME_entry_count(subject); ++i) {
        const X509_NAME_ENTRY* entry = X509_NAME_get_entry(subject, i);
        EXPECT_EQ(X509_NAME_ENTRY_set(entry), i) << "each attribute stands in a set of its own";
        const ASN1_STRING* value = X509_NAME_ENTRY_get_data(entry);
        const char* type = OBJ_nid2ln(OBJ_obj2nid(X509_NAME_ENTRY_get_object(entry)));
        const char* text = reinterpret_cast<const char*>(ASN1_STRING_get0_data(value));
        attributes.emplace_back(type, ASN1_STRING_type(value),
                                std::string(text, static_cast<std::size_t>(ASN1_STRING_length(value))));
    }
    return attributes;
}

std::vector<Attribute> subject(const std::string& nationalCode, const std::string& city = "تهران",
                               const std::string& postalCode = "1193653471") {
    return {
        {"stateOrProvinceName", V_ASN1_UTF8STRING, "Tehran"},
        {"localityName", V_ASN1_UTF8STRING, city},
        {"commonName", V_ASN1_UTF8STRING, nationalCode},
        {"surname", V_ASN1_UTF8STRING, "Mohammadi"},
        {"givenName", V_ASN1_UTF8STRING, "Sara"},
        {"serialNumber", V_ASN1_PRINTABLESTRING, nationalCode},
        {"postalCode", V_ASN1_PRINTABLESTRING, postalCode},
    };
}

class PluginCreateCSR : public WithSaraUntouched {
  protected:
    static std::string csrPem(const JSObject& userInfo = identity(sara)) {
        return text(call("createCSR", request(userInfo)), "csrPem");
    }

    /// Returns the request for `userInfo`, or null, and the test fails, if OpenSSL cannot read it.
    static OpenSSL::Request parsed(const JSObject& userInfo = identity(sara)) {
        OpenSSL::Request made = OpenSSL::parsedRequest(OpenSSL::fromBase64(csrPem(userInfo)));
        EXPECT_NE(made, nullptr);
        return made;
    }
};

TEST_F(PluginCreateCSR, TheResultIsTheRequestAloneInOneLineOfBase64WithoutHeaderAndFooterEachTimeTheSame) {
    const std::string request = csrPem();
    EXPECT_EQ(call("createCSR", JSObject{{"userInfo", identity(sara)}}), resolved({{"csrPem", request}}));
    EXPECT_EQ(request, OpenSSL::base64(OpenSSL::fromBase64(request)));
}

TEST_F(PluginCreateCSR, ARequestIsOfTheFirstVersionAndCarriesThePersonsKeyWhichSignsIt) {
    const OpenSSL::Request request = parsed();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(X509_REQ_get_version(request.get()), X509_REQ_VERSION_1);
    EXPECT_EQ(EVP_PKEY_eq(X509_REQ_get0_pubkey(request.get()), saraKey().get()), 1);
    EXPECT_EQ(X509_REQ_verify(request.get(), saraKey().get()), 1);
    EXPECT_EQ(X509_REQ_get_signature_nid(request.get()), NID_sha256WithRSAEncryption);
}

TEST_F(PluginCreateCSR, ARequestIsTheDERThatOpenSSLWouldWriteOfIt) {
    const Bytes made = OpenSSL::fromBase64(csrPem());
    const OpenSSL::Request request = OpenSSL::parsedRequest(made);
    ASSERT_NE(request, nullptr);
    // OpenSSL encodes the signed part anew, and then the whole request.
    unsigned char* signedPart = nullptr;
    const int length = i2d_re_X509_REQ_tbs(request.get(), &signedPart);
    ASSERT_GT(length, 0);
    const Bytes encoded(signedPart, signedPart + length);
    OPENSSL_free(signedPart);
    EXPECT_EQ(Bytes(made.begin() + 4, made.begin() + 4 + length), encoded);

    Bytes whole(made.size());
    unsigned char* position = whole.data();
    ASSERT_EQ(i2d_X509_REQ(request.get(), nullptr), static_cast<int>(made.size()));
    i2d_X509_REQ(request.get(), &position);
    EXPECT_EQ(whole, made);
}

TEST_F(PluginCreateCSR, TheSubjectHasSevenAttributesInTheirOrder) {
    const OpenSSL::Request request = parsed();
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(subjectOf(request), subject(sara));
}

TEST_F(PluginCreateCSR, OpenSSLFindsDocumentSigningAndClientAuthenticationAskedForAsCritical) {
    const OpenSSL::Request request = parsed();
    ASSERT_NE(request, nullptr);
    const auto freeAll = [](STACK_OF(X509_EXTENSION) * all) {
        sk_X509_EXTENSION_pop_free(all, X509_EXTENSION_free);
    };
    const std::shared_ptr<STACK_OF(X509_EXTENSION)> extensions(X509_REQ_get_extensions(request.get()),
                                                               freeAll);
    ASSERT_EQ(sk_X509_EXTENSION_num(extensions.get()), 1);
    int critical = 0;
    const std::shared_ptr<EXTENDED_KEY_USAGE> purposes(
        static_cast<EXTENDED_KEY_USAGE*>(
            X509V3_get_d2i(extensions.get(), NID_ext_key_usage, &critical, nullptr)),
        EXTENDED_KEY_USAGE_free);
    ASSERT_EQ(sk_ASN1_OBJECT_num(purposes.get()), 2);
    EXPECT_EQ(critical, 1);
    char documentSigning[64];
    OBJ_obj2txt(documentSigning, sizeof documentSigning, sk_ASN1_OBJECT_value(purposes.get(), 0), 1);
    EXPECT_STREQ(documentSigning, "1.3.6.1.4.1.311.10.3.12");
    EXPECT_EQ(OBJ_obj2nid(sk_ASN1_OBJECT_value(purposes.get(), 1)), NID_client_auth);
}

TEST_F(PluginCreateCSR, OnlySixOfTheFourteenStringsAppearInTheRequest) {
    const std::string plain = csrPem();
    for (const char* unused : {"identificationId", "name", "lastName", "phoneNumber", "birthCertificateId",
                               "birthDate", "gender", "citizenship"}) {
        EXPECT_EQ(csrPem(with(identity(sara), unused, "other")), plain) << unused;
        EXPECT_EQ(csrPem(with(identity(sara), unused, "")), plain) << unused;
    }
    for (const char* used : {"enName", "enLastName", "postalCode", "city", "provinceName"}) {
        EXPECT_NE(csrPem(with(identity(sara), used, "0")), plain) << used;
    }
}

TEST_F(PluginCreateCSR, NeitherTheOrderOfTheMembersNorOneBeyondTheFourteenChangesAnything) {
    std::vector<JSMember> members = identity(sara).members();
    std::reverse(members.begin(), members.end());
    members.push_back({"email", "sara@example.org"});
    EXPECT_EQ(csrPem(JSObject(members)), csrPem());
}

TEST_F(PluginCreateCSR, AnEmptyStringIsAnEmptyAttribute) {
    JSObject userInfo = identity(sara);
    for (const char* key : {"provinceName", "city", "enLastName", "enName", "postalCode"}) {
        userInfo = with(userInfo, key, "");
    }
    const OpenSSL::Request request = parsed(userInfo);
    ASSERT_NE(request, nullptr);
    const std::vector<Attribute> expected = {
        {"stateOrProvinceName", V_ASN1_UTF8STRING, ""}, {"localityName", V_ASN1_UTF8STRING, ""},
        {"commonName", V_ASN1_UTF8STRING, sara},        {"surname", V_ASN1_UTF8STRING, ""},
        {"givenName", V_ASN1_UTF8STRING, ""},           {"serialNumber", V_ASN1_PRINTABLESTRING, sara},
        {"postalCode", V_ASN1_PRINTABLESTRING, ""},
    };
    EXPECT_EQ(subjectOf(request), expected);
    EXPECT_EQ(X509_REQ_verify(request.get(), saraKey().get()), 1);
}

TEST_F(PluginCreateCSR, StringsAreKeptWhateverTheyHoldAndHoweverLongTheyAre) {
    using namespace std::string_literals;
    std::vector<std::pair<std::string, std::string>> citiesAndPostalCodes = {{"  Tehran\t", " 1193653471 "}};
    for (const std::string& city :
         {"שׁלום\u200F"s, "東京"s, "👩🏽‍💻"s, "a\0b"s, "\r\n"s, "\uFFFD"s}) {
        citiesAndPostalCodes.emplace_back(city, "1193653471");
    }
    for (const std::size_t size : {127U, 128U, 200U, 255U, 256U, 10'000U}) {  // around each form of a length
        citiesAndPostalCodes.emplace_back(std::string(size, 'c'), std::string(size, '1'));
    }
    for (const auto& [city, postalCode] : citiesAndPostalCodes) {
        SCOPED_TRACE(city.substr(0, 40) + ", " + std::to_string(city.size()));
        const OpenSSL::Request request =
            parsed(with(with(identity(sara), "city", city), "postalCode", postalCode));
        ASSERT_NE(request, nullptr);
        EXPECT_EQ(subjectOf(request), subject(sara, city, postalCode));
        EXPECT_EQ(X509_REQ_verify(request.get(), saraKey().get()), 1);
    }
}

TEST_F(PluginCreateCSR, TheNationalCodeOfTheRecordNamesThePersonAndTheSubject) {
    // A national code outside the record does not count.
    const Outcome outcome = call("createCSR", with(request(identity("Omid")), "nationalCode", sara));
    const OpenSSL::Request made = OpenSSL::parsedRequest(OpenSSL::fromBase64(text(outcome, "csrPem")));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(subjectOf(made), subject("Omid"));
    const std::string omidsKey = publicKeyPem("Omid");
    EXPECT_EQ(X509_REQ_verify(made.get(), OpenSSL::publicKey(omidsKey).get()), 1);
}

}  // namespace
}  // namespace KavrelCrypto
