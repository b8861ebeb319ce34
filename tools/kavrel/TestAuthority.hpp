#pragma once

#include <filesystem>
#include <string>

#include "tools/kavrel/OpenSSL.hpp"

namespace KavrelCrypto::Host {

/// The authority that issues certificates for development and tests: a P-256 key and a self-signed
/// certificate, in the folder "authority" of a device. The certificate's name says what it is for.
class TestAuthority {
  public:
    /// Opens the authority of the device in `deviceFolder`. If there is none it is created, and only one,
    /// however many processes ask at the same time. Throws CommandError if it can be neither read nor
    /// created.
    explicit TestAuthority(const std::filesystem::path& deviceFolder);

    /// Issues a certificate (RFC 5280) in PEM for the subject and the key of `request`. It is valid for a
    /// year and has the extended key usage that the request asks for, byte for byte; no other extension is
    /// granted. Throws CommandError if the requested extensions cannot be read.
    [[nodiscard]] std::string issue(X509_REQ& request) const;

    [[nodiscard]] X509& certificate() const {
        return *certificate_;
    }

  private:
    PrivateKey key_;
    Certificate certificate_;
};

}  // namespace KavrelCrypto::Host
