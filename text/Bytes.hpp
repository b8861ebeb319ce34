#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace KavrelCrypto {

/// An owned, growable sequence of bytes. DER is written by appending to one.
using Bytes = std::vector<std::uint8_t>;

/// A read-only view of bytes that somebody else owns.
using BytesView = std::span<const std::uint8_t>;

/// Puts `bytes` behind the content of `out`.
inline void append(BytesView bytes, Bytes& out) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace KavrelCrypto
