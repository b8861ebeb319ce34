#pragma once

#include <string>

#include "csr/CryptoUtils.hpp"

namespace KavrelCrypto {

struct UserInfo;

/// Builds a person's certification request: chooses the key pair, fills in the subject, and encodes the
/// result.
class CSRBuilder {
  public:
    /// Returns the process-wide instance, which is made on first use and never destroyed.
    static const CSRBuilder& shared();

    /// Returns the PKCS #10 request (RFC 2986) for `user`, signed with a key pair of `alias`: DER as one line
    /// of base64, without a PEM header or footer. Throws NSError: CSRCreationError::buildFailed, whatever
    /// went wrong. Any thread may call.
    ///
    /// The key pair is the utility pair of `alias` if both halves exist; otherwise the key manager's pair,
    /// which is made if there is none; and if the key manager fails, a new utility pair.
    [[nodiscard]] std::string buildCSR(const std::string& alias, const UserInfo& user) const;

    CSRBuilder(const CSRBuilder&) = delete;
    CSRBuilder& operator=(const CSRBuilder&) = delete;
    ~CSRBuilder() = default;

  private:
    CSRBuilder();

    const CryptoUtils cryptoUtils;
};

}  // namespace KavrelCrypto
