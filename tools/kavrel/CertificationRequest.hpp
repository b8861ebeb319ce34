#pragma once

#include <string>
#include <string_view>

#include "tools/kavrel/OpenSSL.hpp"

/// Certification requests (PKCS #10, RFC 2986), as an authority receives them.
namespace KavrelCrypto::Host {

/// Reads the request in `input`: DER, PEM, or base64 with or without line breaks. Throws CommandError if it
/// is none of these, if more bytes follow the request, or if its signature was not made with the key in it.
CertificationRequest readRequest(std::string_view input);

/// Describes `request` for people, in several lines, without the numbers of the key and of the signature.
std::string describeRequest(X509_REQ& request);

}  // namespace KavrelCrypto::Host
