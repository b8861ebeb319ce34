#include "bench/OpenSSL.hpp"

#include <algorithm>
#include <openssl/crypto.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <string>

namespace KavrelCrypto::OpenSSL {
namespace {

// Extensions: extKeyUsage, critical, document signing and client authentication
constexpr std::uint8_t extensions[] = {0x30, 0x24, 0x30, 0x22, 0x06, 0x03, 0x55, 0x1D, 0x25, 0x01,
                                       0x01, 0xFF, 0x04, 0x18, 0x30, 0x16, 0x06, 0x0A, 0x2B, 0x06,
                                       0x01, 0x04, 0x01, 0x82, 0x37, 0x0A, 0x03, 0x0C, 0x06, 0x08,
                                       0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02};

void ensure(bool success) {
    if (!success) {
        throw std::runtime_error("OpenSSL failed.");
    }
}

template <typename T>
Bytes encoded(int (*i2d)(T*, unsigned char**), T* object) {
    Bytes bytes(static_cast<std::size_t>(std::max(0, i2d(object, nullptr))));
    unsigned char* end = bytes.data();
    ensure(i2d(object, &end) > 0);
    return bytes;
}

void addEntry(X509_NAME* name, int type, int tag, const std::string& value) {
    ensure(X509_NAME_add_entry_by_NID(name, type, tag, reinterpret_cast<const unsigned char*>(value.data()),
                                      static_cast<int>(value.size()), -1, 0) == 1);
}

}  // namespace

Bytes privateKey(const Key& key) {
    return encoded<const EVP_PKEY>(i2d_PrivateKey, key.get());
}

Key readPrivateKey(const Bytes& der) {
    const unsigned char* end = der.data();
    Key key(d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &end, static_cast<long>(der.size())), EVP_PKEY_free);
    ensure(key != nullptr);
    return key;
}

Request requestFor(const UserInfo& user) {
    Request request(X509_REQ_new(), X509_REQ_free);
    ensure(request != nullptr);
    X509_NAME* name = X509_REQ_get_subject_name(request.get());
    addEntry(name, NID_stateOrProvinceName, V_ASN1_UTF8STRING, user.provinceName);
    addEntry(name, NID_localityName, V_ASN1_UTF8STRING, user.city);
    addEntry(name, NID_commonName, V_ASN1_UTF8STRING, user.nationalCode);
    addEntry(name, NID_surname, V_ASN1_UTF8STRING, user.enLastName);
    addEntry(name, NID_givenName, V_ASN1_UTF8STRING, user.enName);
    addEntry(name, NID_serialNumber, V_ASN1_PRINTABLESTRING, user.nationalCode);
    addEntry(name, NID_postalCode, V_ASN1_PRINTABLESTRING, user.postalCode);
    ensure(X509_REQ_add1_attr_by_NID(request.get(), NID_ext_req, V_ASN1_SEQUENCE, extensions,
                                     sizeof extensions) == 1);
    return request;
}

void setPublicKey(const Request& request, const Bytes& publicKey) {
    auto* copy = static_cast<unsigned char*>(OPENSSL_memdup(publicKey.data(), publicKey.size()));
    ensure(copy != nullptr &&
           X509_PUBKEY_set0_param(X509_REQ_get_X509_PUBKEY(request.get()), OBJ_nid2obj(NID_rsaEncryption),
                                  V_ASN1_NULL, nullptr, copy, static_cast<int>(publicKey.size())) == 1);
}

Bytes requestInfo(const Request& request) {
    return encoded(i2d_re_X509_REQ_tbs, request.get());
}

Bytes sign(const Key& key, BytesView data) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(key.get())));
    std::size_t length = signature.size();
    ensure(EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
           EVP_DigestSign(context.get(), signature.data(), &length, data.data(), data.size()) == 1);
    return signature;
}

Bytes signAndVerify(const Request& request, const Key& key) {
    ensure(X509_REQ_sign(request.get(), key.get(), EVP_sha256()) > 0 &&
           X509_REQ_verify(request.get(), key.get()) == 1);
    return encoded<const X509_REQ>(i2d_X509_REQ, request.get());
}

}  // namespace KavrelCrypto::OpenSSL
