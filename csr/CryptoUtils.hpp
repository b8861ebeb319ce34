#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "csr/KeyAlgorithm.hpp"
#include "keys/SecureKeyManager.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

/// Finds and makes keychain keys by their whole application tags (UTF-8), for the request builder's utility
/// pair. It never touches the keys of SecureKeyManager and never throws. Any thread may call.
class CryptoUtils {
  public:
    CryptoUtils();

    /// Returns the first RSA key with the tag `name`, private or public, or null if there is none. On
    /// purpose, it does not find an elliptic-curve key.
    [[nodiscard]] SecKeyRef loadKey(const std::string& name) const;

    /// Makes a key pair of `keySize` bits and stores its halves under the two tags, without deleting what is
    /// there. An elliptic-curve pair is made in the Secure Enclave, with an access control. Returns the
    /// private and the public key; one that is not available is null, and a console line says why if the
    /// platform does. Stops the process if the access control cannot be made.
    [[nodiscard]] std::pair<SecKeyRef, SecKeyRef> generateKeysAndStoreInKeychain(
        const KeyAlgorithm& algorithm, std::int64_t keySize, const std::string& tagPrivate,
        const std::string& tagPublic) const;

    /// Returns the private key's tag for `alias`: the prefix and the alias, on purpose without a dot between
    /// them.
    [[nodiscard]] std::string privateTag(const std::string& alias) const;

    /// Returns the public key's tag for `alias`, which is made in the same way.
    [[nodiscard]] std::string publicTag(const std::string& alias) const;

  private:
    // One of the three members that the class is fixed to have. Neither operation uses it.
    [[maybe_unused]] const std::shared_ptr<const SecureKeyManager> keyManager;
    const std::string privateTagPrefix;
    const std::string publicTagPrefix;
};

}  // namespace KavrelCrypto
