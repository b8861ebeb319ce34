// The CertificationRequestInfo of a person, from the same strings and the same RSAPublicKey in DER, beside
// the libraries that people would use instead.

#include <cstring>
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
    OpenSSL::setPublicKey(request, publicKey);
    return OpenSSL::requestInfo(request);
}

Bytes writtenByOpenSSL(const UserInfo& user, const OpenSSL::Key& key) {
    const OpenSSL::Request request = OpenSSL::requestFor(user);
    X509_REQ_set_pubkey(request.get(), key.get());
    return OpenSSL::requestInfo(request);
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

}  // namespace

void addRequestInfo() {
    const OpenSSL::Key key = OpenSSL::newRSAKey(2048);
    const auto publicKey = std::make_shared<const Bytes>(OpenSSL::rsaPublicKey(key));
    const UserInfo user = sara();
    compare<Bytes>("CertificationRequestInfo/one person",
                   {{"KavrelCrypto", [=] { return writtenByKavrelCrypto(user, *publicKey); }},
                    {"OpenSSL", [=] { return writtenByOpenSSL(user, *publicKey); }},
                    {"OpenSSL, given a key object", [=] { return writtenByOpenSSL(user, key); }},
                    {"mbed TLS", [=] { return writtenByMbedTLS(user, *publicKey); }}});
}

}  // namespace KavrelCrypto::Bench
