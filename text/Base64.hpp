#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/Bytes.hpp"

/// Standard base64 (RFC 4648, section 4), with "=" padding.
namespace KavrelCrypto {

/// The bytes as one line of base64.
std::string base64Encode(BytesView bytes);

/// The bytes that `text` stands for. Absent unless the text is whole groups of four characters of the
/// alphabet with padding only at the end; white space and line breaks are not skipped. The bits of the last
/// group that belong to no byte are not looked at. The empty text is no bytes.
std::optional<Bytes> base64Decode(std::string_view text);

}  // namespace KavrelCrypto
