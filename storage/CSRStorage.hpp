#pragma once

#include <optional>
#include <string>

#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// The one certificate slot of the app, a generic password in the keychain, and the check that a certificate
/// carries a given public key.
///
/// The names speak of a cached request; the slot holds the issued certificate. All persons share it: storing
/// for one replaces what was stored for another. Both are part of the stored layout and stay. Nothing here
/// throws or prints; any thread may call, and no lock is taken.
class CSRStorage {
  public:
    /// The instance of the process, made on first use and never destroyed.
    static const CSRStorage& shared();

    /// Replaces the slot's text (UTF-8) by deleting, then adding. True when it is stored now. When the adding
    /// fails the earlier text is gone.
    [[nodiscard]] bool saveCSR(const std::string& text) const;

    /// The slot's text. Absent when there is none, when it cannot be read, or when it is not UTF-8.
    [[nodiscard]] std::optional<std::string> getCSR() const;

    /// Empties the slot. True when a text was deleted.
    bool deleteCSR() const;

    /// Whether the X.509 certificate in `certPem` (PEM, or the bare base64 of its DER) carries the public key
    /// whose external representation is `publicKeyData`. Chain, dates, issuer and usage are not looked at:
    /// the issuer answers for them, and this asks only whether the certificate belongs to the key.
    static bool verifyCertificateMatchesKey(const std::string& certPem, BytesView publicKeyData);

    CSRStorage(const CSRStorage&) = delete;
    CSRStorage& operator=(const CSRStorage&) = delete;
    ~CSRStorage() = default;

  private:
    CSRStorage();

    const std::string keychainKey;
};

}  // namespace KavrelCrypto
