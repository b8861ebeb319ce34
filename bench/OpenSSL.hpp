#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <optional>

#include "plugin/UserInfo.hpp"
#include "text/Bytes.hpp"

/// The work of the component, done with OpenSSL alone.
namespace KavrelCrypto::Bench::OpenSSL {

template <auto function>
struct FreeWith {
    template <typename T>
    void operator()(T* object) const {
        function(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using Request = std::unique_ptr<X509_REQ, FreeWith<X509_REQ_free>>;

/// Returns a new RSA key of 2048 bits.
Key makeKey();

/// Returns the RSAPublicKey (RFC 8017) of `key` in DER.
Bytes publicKey(const EVP_PKEY* key);

/// Returns the RSAPrivateKey (RFC 8017) of `key` in DER.
Bytes privateKey(const EVP_PKEY* key);

/// Returns the SubjectPublicKeyInfo (RFC 5280) of `key` in DER.
Bytes publicKeyInfo(const EVP_PKEY* key);

/// Reads an RSA key that privateKey has written.
Key readPrivateKey(const Bytes& der);

/// Returns a request for `user` without key and signature, with the subject and the attributes that the
/// component writes.
Request requestFor(const UserInfo& user);

/// Puts the RSAPublicKey `publicKey` into `request`, as it is. This is OpenSSL's fastest way: it neither
/// reads the key nor makes an object of it.
void setPublicKey(X509_REQ* request, const Bytes& publicKey);

/// Returns the CertificationRequestInfo of `request` in DER.
Bytes requestInfo(X509_REQ* request);

/// Returns the RSASSA-PKCS1-v1_5 signature of `data` over SHA-256.
Bytes sign(EVP_PKEY* key, BytesView data);

/// Signs `request` with RSASSA-PKCS1-v1_5 over SHA-256 and verifies the signature. Returns the
/// CertificationRequest in DER.
Bytes signAndVerify(X509_REQ* request, EVP_PKEY* key);

}  // namespace KavrelCrypto::Bench::OpenSSL
