#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>

#include "text/Bytes.hpp"

/// OpenSSL, as the judge of what the plugin hands out and as the authority that issues certificates. None of
/// it goes through the component or its device. Where OpenSSL refuses to do something an exception fails the
/// test.
namespace KavrelCrypto::OpenSSL {

using Key = std::shared_ptr<EVP_PKEY>;
using Request = std::shared_ptr<X509_REQ>;

/// One line of standard base64.
std::string base64(BytesView bytes);

/// The bytes of a line of base64.
Bytes fromBase64(const std::string& text);

/// The key in a "publicKeyPem".
Key publicKey(const std::string& publicKeyPem);

/// The PKCS #1 RSAPublicKey of `key`, in DER.
Bytes rsaPublicKey(const Key& key);

/// Whether `signature` is a signature of `key` in RSASSA-PKCS1-v1_5 over the SHA-256 of `message`.
bool verifies(const Key& key, BytesView message, BytesView signature);

/// Whether `signature` is one over `digest`, taken as a SHA-256 that was computed before.
bool verifiesDigest(const Key& key, BytesView digest, BytesView signature);

/// The request in `der`; null where OpenSSL finds none, or more than one request.
Request parsedRequest(BytesView der);

/// The key pair of the test authority: RSA of 2048 bits, the same for the whole run.
Key authorityKey();

/// A new key pair of the type that OpenSSL calls `type`; `parameter` is the curve or the number of bits.
Key newKey(const char* type);
Key newECKey(const char* curve);
Key newRSAKey(std::size_t bits);

/// A public key of the modulus of `other`: an RSA key with another exponent, or one with the same numbers
/// that is for RSASSA-PSS only.
Key withExponent(const Key& other, unsigned long exponent);
Key forPSSOnly(const Key& other);

/// What a certificate says beside its key.
struct CertificateText {
    std::string subject = "0012345678";
    std::string issuer = "Test Authority";
    std::string notBefore = "20240101000000Z";
    std::string notAfter = "20491231235959Z";
};

/// A certificate in DER for `subjectKey`, signed by the test authority with RSA over SHA-256: the signature
/// is its last 256 bytes.
Bytes certificate(const Key& subjectKey, const CertificateText& text = {});

/// The part of a certificate that is signed.
Bytes signedPart(BytesView certificate);

/// Whether the certificate's signature is one of `key`.
bool isSignedBy(BytesView certificate, const Key& key);

/// `der` as OpenSSL writes it in PEM.
std::string pem(BytesView der);

}  // namespace KavrelCrypto::OpenSSL
