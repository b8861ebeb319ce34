#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "text/Bytes.hpp"
#include "tools/kavrel/OpenSSL.hpp"

/// The formats in which a signature travels beside or around a document.
namespace KavrelCrypto::Host {

/// Makes a signature (RSASSA-PKCS1-v1_5) over SHA-256 of the bytes it is given, as "signDigest" does.
using Signer = std::function<Bytes(BytesView)>;

/// Returns whether `signature` is one over SHA-256 of `message` (RSASSA-PKCS1-v1_5) by the key of
/// `certificate`.
bool isSignedBy(X509& certificate, BytesView signature, BytesView message);

/// Returns a detached CMS signature (RFC 5652) of the content whose SHA-256 is `sha256`, in DER. It is CAdES
/// baseline B (ETSI EN 319 122-1): the content type, the digest, the time and the certificate of the signer
/// are signed, and the certificate is in it. Throws CommandError if what `signer` makes was not made with
/// the key of `certificate`, and whatever `signer` throws.
Bytes signCMS(BytesView sha256, X509& certificate, const Signer& signer);

/// Returns a JSON Web Signature (RFC 7515) around `payload`, in the compact form: RS256, with the certificate
/// in its header. Throws as signCMS does.
std::string signJWS(std::string_view payload, X509& certificate, const Signer& signer);

}  // namespace KavrelCrypto::Host
