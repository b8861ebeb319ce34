#pragma once

#include <string>

#include "csr/CryptoUtils.hpp"

namespace KavrelCrypto {

struct UserInfo;

/// Makes a person's certification request: chooses the key pair, fills the subject, and encodes.
class CSRBuilder {
  public:
    /// The instance of the process, made on first use and never destroyed.
    static const CSRBuilder& shared();

    /// The PKCS #10 request (RFC 2986) for `user`, signed by the keys of `alias`, as one line of base64 of
    /// its DER, without PEM header or footer. Throws NSError: CSRCreationError::buildFailed, whatever went
    /// wrong. Any thread.
    ///
    /// The pair is the utility pair under the alias's tags if both halves are there, else the key manager's
    /// (made if missing), else, when the key manager fails, a new utility pair.
    [[nodiscard]] std::string buildCSR(const std::string& alias, const UserInfo& user) const;

    CSRBuilder(const CSRBuilder&) = delete;
    CSRBuilder& operator=(const CSRBuilder&) = delete;
    ~CSRBuilder() = default;

  private:
    CSRBuilder();

    const CryptoUtils cryptoUtils;
};

}  // namespace KavrelCrypto
