#pragma once

#include <optional>

#include "text/Bytes.hpp"

/// How the keychain keeps a secret: AES-256-GCM (NIST SP 800-38D) under a key of 32 bytes.
namespace KavrelCrypto::Desktop {

inline constexpr std::size_t sealingKeyLength = 32;

/// `length` random bytes, good for keys.
Bytes randomBytes(std::size_t length);

/// Encrypts `secret` and binds it to `identity`. Gives nonce (12 bytes, fresh), ciphertext and tag (16
/// bytes), one after the other.
Bytes seal(BytesView key, BytesView secret, BytesView identity);

/// The secret in `sealed`; absent unless it is exactly what was sealed under this key for this identity.
std::optional<Bytes> unseal(BytesView key, BytesView sealed, BytesView identity);

}  // namespace KavrelCrypto::Desktop
