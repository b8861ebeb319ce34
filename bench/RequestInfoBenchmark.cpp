// The CertificationRequestInfo of a person, from the same strings and the same RSAPublicKey in DER, beside
// the libraries that people would use instead.

#include <botan/asn1_oid.h>
#include <botan/der_enc.h>
#include <botan/x509_dn.h>
#include <botan/x509_ext.h>
#include <cstring>
#include <gnutls/abstract.h>
#include <gnutls/x509.h>
#include <mbedtls/asn1write.h>
#include <mbedtls/oid.h>
#include <mbedtls/x509.h>
#include <mbedtls/x509_csr.h>

#include "bench/Comparison.hpp"
#include "bench/Inputs.hpp"
#include "bench/OpenSSL.hpp"
#include "csr/CertificateSigningRequest.hpp"

namespace KavrelCrypto::Bench {
namespace {

void require(bool success, const char* library) {
    if (!success) {
        throw std::runtime_error(std::string(library) + " failed.");
    }
}

Bytes writtenByKavrelCrypto(const UserInfo& user, const Bytes& publicKey) {
    const CertificateSigningRequest request(
        {.commonName = user.nationalCode,
         .serialNumber = user.nationalCode,
         .stateOrProvinceName = user.provinceName,
         .localityName = user.city,
         .keyAlgorithm = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256),
         .surName = user.enLastName,
         .givenName = user.enName,
         .postalCode = user.postalCode,
         .includeEkuExtensions = true});
    return request.buldCertificationRequestInfo(publicKey);
}

Bytes writtenByOpenSSL(const UserInfo& user, const Bytes& publicKey) {
    const OpenSSL::Request request = OpenSSL::requestFor(user);
    OpenSSL::setPublicKey(request.get(), publicKey);
    return OpenSSL::requestInfo(request.get());
}

Bytes writtenByOpenSSL(const UserInfo& user, EVP_PKEY* key) {
    const OpenSSL::Request request = OpenSSL::requestFor(user);
    X509_REQ_set_pubkey(request.get(), key);
    return OpenSSL::requestInfo(request.get());
}

/// Writes with Botan's encoder what its PKCS10_Request::create does, except that the key is neither read nor
/// written anew. (That function signs.)
Bytes writtenByBotan(const UserInfo& user, const Bytes& publicKey) {
    using Botan::ASN1_String;

    Botan::X509_DN subject;
    const auto add = [&](const char* type, const std::string& value, Botan::ASN1_Tag tag) {
        subject.add_attribute(Botan::OID::from_string(type), ASN1_String(value, tag));
    };
    add("X520.State", user.provinceName, Botan::UTF8_STRING);
    add("X520.Locality", user.city, Botan::UTF8_STRING);
    add("X520.CommonName", user.nationalCode, Botan::UTF8_STRING);
    add("X520.Surname", user.enLastName, Botan::UTF8_STRING);
    add("X520.GivenName", user.enName, Botan::UTF8_STRING);
    add("X520.SerialNumber", user.nationalCode, Botan::PRINTABLE_STRING);
    subject.add_attribute(Botan::OID("2.5.4.17"), ASN1_String(user.postalCode, Botan::PRINTABLE_STRING));

    Botan::Extensions extensions;
    extensions.add_new(
        new Botan::Cert_Extension::Extended_Key_Usage(
            std::vector{Botan::OID("1.3.6.1.4.1.311.10.3.12"), Botan::OID::from_string("PKIX.ClientAuth")}),
        true);  // which it deletes
    Bytes encodedExtensions;
    Botan::DER_Encoder(encodedExtensions).start_cons(Botan::SEQUENCE).encode(extensions).end_cons();

    Bytes info;
    Botan::DER_Encoder(info)
        .start_cons(Botan::SEQUENCE)
        .encode(std::size_t{0})
        .encode(subject)
        .start_cons(Botan::SEQUENCE)
        .encode(Botan::AlgorithmIdentifier("RSA", Botan::AlgorithmIdentifier::USE_NULL_PARAM))
        .encode(publicKey, Botan::BIT_STRING)
        .end_cons()
        .start_explicit(0)
        .encode(Botan::Attribute("PKCS9.ExtensionRequest", encodedExtensions))
        .end_explicit()
        .end_cons();
    return info;
}

/// Writes with mbed TLS's writers what its mbedtls_x509write_csr_der does, except that the key is neither
/// read nor written anew. (That function signs, and leaves out "critical".)
Bytes writtenByMbedTLS(const UserInfo& user, const Bytes& publicKey) {
    static constexpr unsigned char purposes[] = {0x30, 0x16, 0x06, 0x0A, 0x2B, 0x06, 0x01, 0x04,
                                                 0x01, 0x82, 0x37, 0x0A, 0x03, 0x0C, 0x06, 0x08,
                                                 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02};
    const std::string name = "ST=" + user.provinceName + ",L=" + user.city + ",CN=" + user.nationalCode +
                             ",surName=" + user.enLastName + ",givenName=" + user.enName +
                             ",serialNumber=" + user.nationalCode + ",postalCode=" + user.postalCode;
    mbedtls_asn1_named_data* subject = nullptr;
    mbedtls_asn1_named_data* extensions = nullptr;
    require(mbedtls_x509_string_to_names(&subject, name.c_str()) == 0 &&
                mbedtls_x509_set_extension(&extensions, MBEDTLS_OID_EXTENDED_KEY_USAGE,
                                           MBEDTLS_OID_SIZE(MBEDTLS_OID_EXTENDED_KEY_USAGE), 1, purposes,
                                           sizeof purposes) == 0,
            "mbed TLS");

    unsigned char buffer[4096];  // which it fills from the end
    unsigned char* p = buffer + sizeof buffer;
    const auto enclose = [&](const unsigned char* end, unsigned char tag) {
        mbedtls_asn1_write_len(&p, buffer, static_cast<std::size_t>(end - p));
        mbedtls_asn1_write_tag(&p, buffer, tag);
    };
    constexpr unsigned char sequence = MBEDTLS_ASN1_CONSTRUCTED | MBEDTLS_ASN1_SEQUENCE;
    const unsigned char* const end = p;
    mbedtls_x509_write_extensions(&p, buffer, extensions);
    enclose(end, sequence);
    enclose(end, MBEDTLS_ASN1_CONSTRUCTED | MBEDTLS_ASN1_SET);
    mbedtls_asn1_write_oid(&p, buffer, MBEDTLS_OID_PKCS9_CSR_EXT_REQ,
                           MBEDTLS_OID_SIZE(MBEDTLS_OID_PKCS9_CSR_EXT_REQ));
    enclose(end, sequence);
    enclose(end, MBEDTLS_ASN1_CONSTRUCTED | MBEDTLS_ASN1_CONTEXT_SPECIFIC);
    const unsigned char* const keyEnd = p;
    mbedtls_asn1_write_bitstring(&p, buffer, publicKey.data(), publicKey.size() * 8);
    mbedtls_asn1_write_algorithm_identifier(&p, buffer, MBEDTLS_OID_PKCS1_RSA,
                                            MBEDTLS_OID_SIZE(MBEDTLS_OID_PKCS1_RSA), 0);
    enclose(keyEnd, sequence);
    mbedtls_x509_write_names(&p, buffer, subject);
    mbedtls_asn1_write_int(&p, buffer, 0);
    enclose(end, sequence);
    mbedtls_asn1_free_named_data_list(&subject);
    mbedtls_asn1_free_named_data_list(&extensions);
    return {p, static_cast<unsigned char*>(buffer) + sizeof buffer};
}

// GnuTLS writes requests only signed. The stand-in for the private key returns a signature of zeros at once.
int signAtOnce(gnutls_privkey_t, gnutls_sign_algorithm_t, void*, unsigned, const gnutls_datum_t*,
               gnutls_datum_t* signature) {
    signature->data = static_cast<unsigned char*>(gnutls_calloc(1, 256));
    signature->size = 256;
    return signature->data == nullptr ? GNUTLS_E_MEMORY_ERROR : 0;
}

int describeKey(gnutls_privkey_t, unsigned flags, void*) {
    if ((flags & GNUTLS_PRIVKEY_INFO_PK_ALGO) != 0) {
        return GNUTLS_PK_RSA;
    }
    return (flags & GNUTLS_PRIVKEY_INFO_PK_ALGO_BITS) != 0
               ? 2048
               : (flags & GNUTLS_PRIVKEY_INFO_HAVE_SIGN_ALGO) != 0;
}

/// Returns the first element of the SEQUENCE `der`, both with two length octets.
Bytes firstElement(const unsigned char* der) {
    const unsigned char* element = der + 4;
    return {element, element + 4 + (element[2] << 8 | element[3])};
}

/// `modulus` and `exponent` are those of the public key: GnuTLS does not take the RSAPublicKey.
Bytes writtenByGnuTLS(const UserInfo& user, const gnutls_datum_t& modulus, const gnutls_datum_t& exponent) {
    gnutls_x509_crq_t request = nullptr;
    gnutls_privkey_t key = nullptr;
    gnutls_datum_t der{};
    const auto add = [&](const char* type, const std::string& value) {
        return gnutls_x509_crq_set_dn_by_oid(request, type, 0, value.data(),
                                             static_cast<unsigned>(value.size()));
    };
    require(gnutls_x509_crq_init(&request) == 0 && gnutls_privkey_init(&key) == 0 &&
                gnutls_privkey_import_ext4(key, nullptr, signAtOnce, signAtOnce, nullptr, nullptr,
                                           describeKey, 0) == 0 &&
                gnutls_x509_crq_set_version(request, 1) == 0 &&
                add(GNUTLS_OID_X520_STATE_OR_PROVINCE_NAME, user.provinceName) == 0 &&
                add(GNUTLS_OID_X520_LOCALITY_NAME, user.city) == 0 &&
                add(GNUTLS_OID_X520_COMMON_NAME, user.nationalCode) == 0 &&
                add(GNUTLS_OID_X520_SURNAME, user.enLastName) == 0 &&
                add(GNUTLS_OID_X520_GIVEN_NAME, user.enName) == 0 && add("2.5.4.5", user.nationalCode) == 0 &&
                add("2.5.4.17", user.postalCode) == 0 &&
                gnutls_x509_crq_set_key_rsa_raw(request, &modulus, &exponent) == 0 &&
                gnutls_x509_crq_set_key_purpose_oid(request, "1.3.6.1.4.1.311.10.3.12", 1) == 0 &&
                gnutls_x509_crq_set_key_purpose_oid(request, GNUTLS_KP_TLS_WWW_CLIENT, 1) == 0 &&
                gnutls_x509_crq_privkey_sign(request, key, GNUTLS_DIG_SHA256, 0) == 0 &&
                gnutls_x509_crq_export2(request, GNUTLS_X509_FMT_DER, &der) == 0,
            "GnuTLS");
    const Bytes info = firstElement(der.data);
    gnutls_free(der.data);
    gnutls_privkey_deinit(key);
    gnutls_x509_crq_deinit(request);
    return info;
}

/// Returns whether two infos are the same but for the types of strings, which GnuTLS chooses itself: a
/// PrintableString where it can.
bool isSameButForStringTypes(const Bytes& one, const Bytes& other) {
    const auto isStringType = [](std::uint8_t byte) { return byte == 0x0C || byte == 0x13; };
    return std::equal(
        one.begin(), one.end(), other.begin(), other.end(),
        [&](std::uint8_t a, std::uint8_t b) { return a == b || (isStringType(a) && isStringType(b)); });
}

}  // namespace

void addRequestInfo() {
    const std::shared_ptr<EVP_PKEY> key = OpenSSL::makeKey();
    const auto publicKey = std::make_shared<const Bytes>(OpenSSL::publicKey(key.get()));
    const UserInfo user = sara();
    // The modulus follows SEQUENCE and INTEGER, each with two length octets; the exponent is 65537.
    const gnutls_datum_t modulus{const_cast<unsigned char*>(publicKey->data()) + 8, 257};
    static unsigned char exponentBytes[] = {0x01, 0x00, 0x01};
    const gnutls_datum_t exponent{exponentBytes, sizeof exponentBytes};

    const auto ours = [=] { return writtenByKavrelCrypto(user, *publicKey); };
    compare<Bytes>(
        "CertificationRequestInfo/one person",
        {{"KavrelCrypto", ours},
         {"OpenSSL", [=] { return writtenByOpenSSL(user, *publicKey); }},
         {"OpenSSL, given a key object", [=] { return writtenByOpenSSL(user, key.get()); }},
         {"Botan", [=] { return writtenByBotan(user, *publicKey); }},
         {"mbed TLS", [=] { return writtenByMbedTLS(user, *publicKey); }},
         {"GnuTLS", [=] { return writtenByGnuTLS(user, modulus, exponent); }, isSameButForStringTypes}});
}

}  // namespace KavrelCrypto::Bench
