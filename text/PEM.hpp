#pragma once

#include <string>
#include <string_view>

#include "text/Bytes.hpp"

/// The component's two PEM texts. Neither is strict RFC 7468, on purpose.
namespace KavrelCrypto {

/// `publicKey` between the lines "-----BEGIN PUBLIC KEY-----" and "-----END PUBLIC KEY-----". A bare line
/// feed follows the header and precedes the footer; the base64 lines, of 64 characters, are separated by CR
/// LF; nothing follows the footer. The web layer holds texts of exactly this form: the mixed line ends are
/// not to be mended.
std::string publicKeyPEM(BytesView publicKey);

/// Returns what is left of a certificate string (UTF-8) once every "-----BEGIN CERTIFICATE-----", then every
/// "-----END CERTIFICATE-----", then all white space has been removed. White space is the platform's
/// whitespace-and-newline set: the 25 characters with the Unicode property White_Space, and U+200B. The
/// result is base64 if the string was a certificate.
std::string certificatePEMBody(std::string_view text);

}  // namespace KavrelCrypto
