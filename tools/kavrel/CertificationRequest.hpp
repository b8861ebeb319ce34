#pragma once

#include <string>
#include <string_view>

#include "tools/kavrel/OpenSSL.hpp"

/// Certification requests (PKCS #10, RFC 2986), as an authority receives them.
namespace KavrelCrypto::Host {

/// The request in `input`: DER, PEM, or base64 with or without line breaks. Throws CommandError when it is
/// none of them, when bytes follow it, and when its signature was not made with the key that it names.
CertificationRequest readRequest(std::string_view input);

/// The request in readable form, several lines, without the numbers of the key and of the signature.
std::string describeRequest(X509_REQ& request);

}  // namespace KavrelCrypto::Host
