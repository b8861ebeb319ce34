#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>

#include "text/Bytes.hpp"

/// OpenSSL judges what the plugin hands out, and issues certificates. Nothing here goes through the component
/// or the device. A function throws, and so fails the test, if OpenSSL refuses to do what it is asked.
namespace KavrelCrypto::OpenSSL {

using Key = std::shared_ptr<EVP_PKEY>;
using Request = std::shared_ptr<X509_REQ>;

/// Encodes bytes as one line of standard base64.
std::string base64(BytesView bytes);

/// Decodes one line of standard base64.
Bytes fromBase64(const std::string& text);

/// Returns the key in a "publicKeyPem".
Key publicKey(const std::string& publicKeyPem);

/// Returns the PKCS #1 RSAPublicKey of `key`, in DER.
Bytes rsaPublicKey(const Key& key);

/// Returns the SubjectPublicKeyInfo of `key`, in DER.
Bytes subjectPublicKeyInfo(const Key& key);

/// Returns whether `signature` is an RSASSA-PKCS1-v1_5 signature by `key` over the SHA-256 of `message`.
bool verifies(const Key& key, BytesView message, BytesView signature);

/// Returns whether `signature` is such a signature over `digest`, taken as a SHA-256 that was computed
/// before.
bool verifiesDigest(const Key& key, BytesView digest, BytesView signature);

/// Returns the request in `der`, or null if that is anything but one request.
Request parsedRequest(BytesView der);

/// Returns the key pair of the test authority: RSA, 2048 bits, the same for the whole run.
Key authorityKey();

/// Generate a key pair: of the type to which OpenSSL gives the name `type`, on a curve, of a number of bits.
Key newKey(const char* type);
Key newECKey(const char* curve);
Key newRSAKey(std::size_t bits);

/// Return a public key with the modulus of `other`: an RSA key with another exponent, or a key with the same
/// numbers that is for RSASSA-PSS only.
Key withExponent(const Key& other, unsigned long exponent);
Key forPSSOnly(const Key& other);

/// What a certificate says besides its key.
struct CertificateText {
    std::string subject = "0012345678";
    std::string issuer = "Test Authority";
    std::string notBefore = "20240101000000Z";
    std::string notAfter = "20491231235959Z";
};

/// Issues a certificate for `subjectKey`, in DER. The test authority signs it with RSA over SHA-256; the
/// signature is its last 256 bytes.
Bytes certificate(const Key& subjectKey, const CertificateText& text = {});

/// Returns the part of a certificate that is signed.
Bytes signedPart(BytesView certificate);

/// Returns whether `key` signed the certificate.
bool isSignedBy(BytesView certificate, const Key& key);

/// Encodes a certificate in PEM, as OpenSSL does.
std::string pem(BytesView der);

}  // namespace KavrelCrypto::OpenSSL
