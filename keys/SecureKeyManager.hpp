#pragma once

#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// Owns the one RSA key pair of each person, in the keychain, and signs with it after a biometric check.
///
/// A person is named by an alias, any text in UTF-8, the empty one included; it is used byte for byte behind
/// the tag prefixes. The key is an ordinary keychain key, without access control: the biometric check that
/// `sign` makes is the only gate, and a lookup never prompts. Nothing is cached, no lock is taken, and any
/// thread may call; two callers at work on one alias may interleave.
class SecureKeyManager : public std::enable_shared_from_this<SecureKeyManager> {
  public:
    /// The instance of the process, made on first use and never destroyed. The component uses no other.
    static const std::shared_ptr<const SecureKeyManager>& shared();

    SecureKeyManager(const SecureKeyManager&) = delete;
    SecureKeyManager& operator=(const SecureKeyManager&) = delete;
    ~SecureKeyManager() = default;

    /// The person's private key, or null when it is not found, for whatever reason. `context` may be null; it
    /// is the authenticated context to look the key up with.
    [[nodiscard]] SecKeyRef loadPrivateKey(const std::string& alias, const LAContextRef& context) const;

    /// Deletes both halves of the person's pair, wherever they came from, and prints the two statuses. Never
    /// fails.
    void forceDeleteAllKeys(const std::string& alias) const;

    /// The public half of `privateKey`. Throws NSError -2.
    static SecKeyRef getPublicKey(const SecKeyRef& privateKey);

    /// The person's private key; where there is none, leftovers are deleted and a new pair of 2048 bits is
    /// made. Throws NSError: the platform's own, else -1.
    [[nodiscard]] SecKeyRef getOrCreatePrivateKey(const std::string& alias) const;

    /// The signature, or why there is none.
    using SigningResult = std::variant<Bytes, NSError>;

    /// Asks for biometrics with the reason "Authenticate to sign", then signs `data` with RSASSA-PKCS1-v1_5
    /// over SHA-256 (RFC 8017): 256 bytes. The key is looked up only after the person was recognised.
    /// `completion` is called once: before this returns when biometrics are unavailable, else on the main
    /// queue. The pending work does not keep the manager alive; should it be gone by then, the completion is
    /// never called. Errors: the platform's own, else -6, -7, -4, -5.
    void sign(const std::string& alias, Bytes data, std::function<void(SigningResult)> completion) const;

  private:
    friend struct SecureKeyManagerOfATest;  // makes an instance that can go away, which `shared` never does

    SecureKeyManager();

    /// The only way to an instance. A shared_ptr owns it from the start: without one, `sign` would find the
    /// manager gone and never call its completion.
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
