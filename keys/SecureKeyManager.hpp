#pragma once

#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// Manages the one RSA key pair that each person has in the keychain, and signs with it after a biometric
/// check.
///
/// An alias names the person. It is any string in UTF-8, even the empty one, and follows the tag prefixes
/// byte for byte. The key is an ordinary keychain key without access control: the biometric check in `sign`
/// is the only gate, and a lookup never prompts. Nothing is cached and no lock is taken. Any thread may call;
/// two callers that work on the same alias may interleave.
class SecureKeyManager : public std::enable_shared_from_this<SecureKeyManager> {
  public:
    /// Returns the process-wide instance, which is made on first use and never destroyed. The component uses
    /// no other.
    static const std::shared_ptr<const SecureKeyManager>& shared();

    SecureKeyManager(const SecureKeyManager&) = delete;
    SecureKeyManager& operator=(const SecureKeyManager&) = delete;
    ~SecureKeyManager() = default;

    /// Returns the person's private key, or null if it is not found, whatever the reason. `context` is the
    /// authenticated context for the lookup, or null.
    [[nodiscard]] SecKeyRef loadPrivateKey(const std::string& alias, const LAContextRef& context) const;

    /// Deletes both halves of the person's pair, including what an interrupted generation left, and prints
    /// the two statuses. Never fails.
    void forceDeleteAllKeys(const std::string& alias) const;

    /// Returns the public half of `privateKey`. Throws NSError: SecureKeyManagerError::publicKeyNotAvailable.
    static SecKeyRef getPublicKey(const SecKeyRef& privateKey);

    /// Returns the person's private key. If there is none, deletes what may be left of a pair and makes a new
    /// one of 2048 bits. Throws NSError: the platform's, or SecureKeyManagerError::keyGenerationFailed if the
    /// platform has none.
    [[nodiscard]] SecKeyRef getOrCreatePrivateKey(const std::string& alias) const;

    /// A signature, or the reason why there is none.
    using SigningResult = std::variant<Bytes, NSError>;

    /// Asks for biometrics with the reason "Authenticate to sign", then signs `data`. The signature is
    /// RSASSA-PKCS1-v1_5 over SHA-256 (RFC 8017) and has 256 bytes. The key is looked up only after the
    /// person has been recognised.
    ///
    /// Calls `completion` once: on the calling thread before this returns if biometrics are not available,
    /// otherwise later, on the main queue. Its error is the platform's, or one of SecureKeyManagerError if
    /// the platform has none. A pending request does not keep the manager alive; if the manager is gone when
    /// the answer arrives, `completion` is never called.
    void sign(const std::string& alias, Bytes data, std::function<void(SigningResult)> completion) const;

  private:
    friend struct SecureKeyManagerOfATest;  // makes an instance that can be destroyed, unlike `shared`

    SecureKeyManager();

    /// Makes every instance, so that a shared_ptr owns each: `sign` keeps a weak_ptr to its manager, and
    /// without an owner it would take the manager for gone and never call the completion.
    static std::shared_ptr<const SecureKeyManager> make();

    using AuthenticationResult = std::variant<LAContextRef, NSError>;

    [[nodiscard]] SecKeyRef generateKeyPair(const std::string& alias) const;
    static void authenticateWithBiometrics(const std::string& reason,
                                           std::function<void(const AuthenticationResult&)> completion);
    [[nodiscard]] SigningResult signature(const std::string& alias, BytesView data,
                                          const LAContextRef& context) const;

    [[nodiscard]] Bytes privateTag(const std::string& alias) const;
    [[nodiscard]] Bytes publicTag(const std::string& alias) const;

    const std::string privateTagPrefix;
    const std::string publicTagPrefix;
};

}  // namespace KavrelCrypto
