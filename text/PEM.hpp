#pragma once

#include <string>
#include <string_view>

#include "text/Bytes.hpp"

/// The component's two PEM formats. Neither is strict RFC 7468, on purpose: see "Fixed contract" in
/// docs/design.md.
namespace KavrelCrypto {

/// Returns `publicKey` in base64 between "-----BEGIN PUBLIC KEY-----" and "-----END PUBLIC KEY-----". A bare
/// line feed follows the header and precedes the footer, CR LF separates the base64 lines of 64 characters,
/// and nothing follows the footer. Pages compare strings of exactly this form, so the mixed line ends stay.
std::string publicKeyPEM(BytesView publicKey);

/// Returns what is left of a certificate string (UTF-8) once every "-----BEGIN CERTIFICATE-----", then every
/// "-----END CERTIFICATE-----", then all white space has been removed. White space is the platform's
/// whitespace-and-newline set: the 25 characters with the Unicode property White_Space, and U+200B. The
/// result is base64 if the string was a certificate.
std::string certificatePEMBody(std::string_view pem);

}  // namespace KavrelCrypto
