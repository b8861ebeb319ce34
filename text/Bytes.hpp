#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace KavrelCrypto {

/// An owned, growable sequence of bytes. DER is written by appending to one.
using Bytes = std::vector<std::uint8_t>;

/// A read-only view of bytes that somebody else owns.
using BytesView = std::span<const std::uint8_t>;

}  // namespace KavrelCrypto
