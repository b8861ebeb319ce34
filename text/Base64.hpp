#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/Bytes.hpp"

/// Standard base64 (RFC 4648, section 4), with "=" padding.
namespace KavrelCrypto {

/// Returns `bytes` as one line of base64.
std::string base64Encode(BytesView bytes);

/// Returns the bytes that `base64` encodes. Absent unless it consists of whole groups of four characters of
/// the alphabet, with padding at the end only; white space and line breaks are not skipped. Bits of the last
/// group that belong to no byte are ignored. The empty string encodes no bytes.
std::optional<Bytes> base64Decode(std::string_view base64);

}  // namespace KavrelCrypto
