#pragma once

#include <array>
#include <optional>

#include "text/Bytes.hpp"

/// How the keychain keeps a secret: encrypted with AES-256-GCM (NIST SP 800-38D). Every operation throws a
/// Failure if OpenSSL cannot do its part, and if a value is 2 GiB or more.
namespace KavrelCrypto::Desktop {

using SealingKey = std::array<std::uint8_t, 32>;

SealingKey makeSealingKey();

/// Encrypts `secret` and binds it to `identity`. Returns a fresh nonce (12 bytes), the ciphertext and the tag
/// (16 bytes), one after the other.
Bytes seal(const SealingKey& key, BytesView secret, BytesView identity);

/// Returns the secret in `sealed`, or an absent value unless `sealed` was made with this key for this
/// identity.
std::optional<Bytes> unseal(const SealingKey& key, BytesView sealed, BytesView identity);

}  // namespace KavrelCrypto::Desktop
