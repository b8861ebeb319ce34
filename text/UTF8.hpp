#pragma once

#include <string_view>

namespace KavrelCrypto {

/// Returns whether `bytes` are well-formed UTF-8 (RFC 3629): no overlong form, no surrogate and nothing above
/// U+10FFFF.
bool isUTF8(std::string_view bytes);

}  // namespace KavrelCrypto
