#pragma once

#include "plugin/UserInfo.hpp"
#include "tests/plugin/OpenSSL.hpp"

/// The work of the component, done with OpenSSL alone.
namespace KavrelCrypto::OpenSSL {

/// Returns the RSAPrivateKey (RFC 8017) of `key` in DER.
Bytes privateKey(const Key& key);

/// Reads an RSA key that privateKey has written.
Key readPrivateKey(const Bytes& der);

/// Returns a request for `user` without key and signature, with the subject and the attributes that the
/// component writes.
Request requestFor(const UserInfo& user);

/// Puts the RSAPublicKey `publicKey` into `request`, as it is. This is OpenSSL's fastest way: it neither
/// reads the key nor makes an object of it.
void setPublicKey(const Request& request, const Bytes& publicKey);

/// Returns the CertificationRequestInfo of `request` in DER.
Bytes requestInfo(const Request& request);

/// Returns the RSASSA-PKCS1-v1_5 signature of `data` over SHA-256.
Bytes sign(const Key& key, BytesView data);

/// Signs `request` with RSASSA-PKCS1-v1_5 over SHA-256 and verifies the signature. Returns the
/// CertificationRequest in DER.
Bytes signAndVerify(const Request& request, const Key& key);

}  // namespace KavrelCrypto::OpenSSL
