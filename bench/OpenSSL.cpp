#include "bench/OpenSSL.hpp"

#include <algorithm>
#include <openssl/crypto.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <string>

namespace KavrelCrypto::Bench::OpenSSL {
namespace {

// Extensions: extKeyUsage, critical, document signing and client authentication
constexpr std::uint8_t extensions[] = {0x30, 0x24, 0x30, 0x22, 0x06, 0x03, 0x55, 0x1D, 0x25, 0x01,
                                       0x01, 0xFF, 0x04, 0x18, 0x30, 0x16, 0x06, 0x0A, 0x2B, 0x06,
                                       0x01, 0x04, 0x01, 0x82, 0x37, 0x0A, 0x03, 0x0C, 0x06, 0x08,
                                       0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02};

void require(bool success) {
    if (!success) {
        throw std::runtime_error("OpenSSL failed.");
    }
}

template <typename T>
Bytes encoded(int (*i2d)(T*, unsigned char**), T* object) {
    Bytes bytes(static_cast<std::size_t>(std::max(0, i2d(object, nullptr))));
    unsigned char* end = bytes.data();
    require(i2d(object, &end) > 0);
    return bytes;
}

void addEntry(X509_NAME* name, int type, int tag, const std::string& value) {
    require(X509_NAME_add_entry_by_NID(name, type, tag, reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<int>(value.size()), -1, 0) == 1);
}

}  // namespace

Key makeKey() {
    Key key(EVP_RSA_gen(2048U));
    require(key != nullptr);
    return key;
}

Bytes publicKey(const EVP_PKEY* key) {
    return encoded(i2d_PublicKey, key);
}

Bytes privateKey(const EVP_PKEY* key) {
    return encoded(i2d_PrivateKey, key);
}

Bytes publicKeyInfo(const EVP_PKEY* key) {
    return encoded(i2d_PUBKEY, key);
}

Key readPrivateKey(const Bytes& der) {
    const unsigned char* end = der.data();
    Key key(d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &end, static_cast<long>(der.size())));
    require(key != nullptr);
    return key;
}

Request requestFor(const UserInfo& user) {
    Request request(X509_REQ_new());
    require(request != nullptr);
    X509_NAME* name = X509_REQ_get_subject_name(request.get());
    addEntry(name, NID_stateOrProvinceName, V_ASN1_UTF8STRING, user.provinceName);
    addEntry(name, NID_localityName, V_ASN1_UTF8STRING, user.city);
    addEntry(name, NID_commonName, V_ASN1_UTF8STRING, user.nationalCode);
    addEntry(name, NID_surname, V_ASN1_UTF8STRING, user.enLastName);
    addEntry(name, NID_givenName, V_ASN1_UTF8STRING, user.enName);
    addEntry(name, NID_serialNumber, V_ASN1_PRINTABLESTRING, user.nationalCode);
    addEntry(name, NID_postalCode, V_ASN1_PRINTABLESTRING, user.postalCode);
    require(X509_REQ_add1_attr_by_NID(request.get(), NID_ext_req, V_ASN1_SEQUENCE, extensions,
                                      sizeof extensions) == 1);
    return request;
}

void setPublicKey(X509_REQ* request, const Bytes& publicKey) {
    auto* copy = static_cast<unsigned char*>(OPENSSL_memdup(publicKey.data(), publicKey.size()));
    require(copy != nullptr &&
            X509_PUBKEY_set0_param(X509_REQ_get_X509_PUBKEY(request), OBJ_nid2obj(NID_rsaEncryption),
                                   V_ASN1_NULL, nullptr, copy, static_cast<int>(publicKey.size())) == 1);
}

Bytes requestInfo(X509_REQ* request) {
    return encoded(i2d_re_X509_REQ_tbs, request);
}

Bytes sign(EVP_PKEY* key, BytesView data) {
    const std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
    std::size_t length = signature.size();
    require(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
            EVP_DigestSign(context.get(), signature.data(), &length, data.data(), data.size()) == 1);
    return signature;
}

Bytes signAndVerify(X509_REQ* request, EVP_PKEY* key) {
    require(X509_REQ_sign(request, key, EVP_sha256()) > 0 && X509_REQ_verify(request, key) == 1);
    return encoded<const X509_REQ>(i2d_X509_REQ, request);
}

}  // namespace KavrelCrypto::Bench::OpenSSL
