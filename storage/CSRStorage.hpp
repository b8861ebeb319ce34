#pragma once

#include <optional>
#include <string>

#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// The app's one certificate slot, which is a generic password in the keychain, and the check whether a
/// certificate is for a given public key.
///
/// The names speak of a cached request, but the slot holds the issued certificate. All persons share it, so
/// storing one person's certificate replaces another's. Both are part of the stored layout and stay ("Fixed
/// contract" in docs/design.md). Nothing here throws or prints. No lock is taken, and any thread may call.
class CSRStorage {
  public:
    /// Returns the process-wide instance, which is made on first use and never destroyed.
    static const CSRStorage& shared();

    /// Replaces what the slot holds with `text` (UTF-8): deletes, then adds. Returns whether `text` is stored
    /// now. What the slot held before is lost even if the addition fails.
    [[nodiscard]] bool saveCSR(const std::string& text) const;

    /// Returns what the slot holds. Absent if it is empty or cannot be read, or if the bytes are not UTF-8.
    [[nodiscard]] std::optional<std::string> getCSR() const;

    /// Empties the slot. Returns whether anything was deleted.
    bool deleteCSR() const;

    /// Returns whether the X.509 certificate in `certPem` (PEM, or just the base64 of its DER) is for the
    /// public key whose external representation is `publicKeyData`. The chain, the dates, the issuer and the
    /// purposes are not checked: the issuer answers for them.
    static bool verifyCertificateMatchesKey(const std::string& certPem, BytesView publicKeyData);

    CSRStorage(const CSRStorage&) = delete;
    CSRStorage& operator=(const CSRStorage&) = delete;
    ~CSRStorage() = default;

  private:
    CSRStorage();

    const std::string keychainKey;
};

}  // namespace KavrelCrypto
