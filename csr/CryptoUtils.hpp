#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "csr/KeyAlgorithm.hpp"
#include "keys/SecureKeyManager.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

/// Keychain keys under whole application tags (UTF-8), for the request builder's fallback pair. It never
/// touches the keys of SecureKeyManager, never throws, and any thread may call.
class CryptoUtils {
  public:
    CryptoUtils();

    /// The first RSA key under the tag `name`, private or public; null when there is none. An EC key is not
    /// found here, on purpose: the builder signs with RSA only.
    [[nodiscard]] SecKeyRef loadKey(const std::string& name) const;

    /// Makes a pair of `keySize` bits and stores its halves under the two tags, beside whatever is there. An
    /// EC pair is asked of the Secure Enclave, with an access control. Gives (private, public); a half that
    /// could not be had is null, and a console line says why. Stops the process when no access control can be
    /// made.
    [[nodiscard]] std::pair<SecKeyRef, SecKeyRef> generateKeysAndStoreInKeychain(
        const KeyAlgorithm& algorithm, std::int64_t keySize, const std::string& tagPrivate,
        const std::string& tagPublic) const;

    /// The private key's tag for an alias: the prefix and the alias run together, without a dot between them.
    [[nodiscard]] std::string privateTag(const std::string& alias) const;

    /// The public key's tag for an alias, made the same way.
    [[nodiscard]] std::string publicTag(const std::string& alias) const;

  private:
    // Part of what the utility is made of, beside the prefixes; neither operation needs it.
    [[maybe_unused]] const std::shared_ptr<const SecureKeyManager> keyManager;
    const std::string privateTagPrefix;
    const std::string publicTagPrefix;
};

}  // namespace KavrelCrypto
