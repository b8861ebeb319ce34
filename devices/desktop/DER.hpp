#pragma once

#include "text/Bytes.hpp"

namespace KavrelCrypto::Desktop {

/// Returns whether `data` is a sequence of elements in DER (X.690), checked as far as the phone's parser
/// checks it: each length is definite and as short as possible, no string is in pieces, and each BOOLEAN is
/// 00 or FF. The content of an OCTET STRING or a BIT STRING is not looked at, and a DEFAULT value may be
/// written out. OpenSSL itself reads all of BER.
bool isDER(BytesView data);

}  // namespace KavrelCrypto::Desktop
