#pragma once

#include <filesystem>
#include <string>

#include "tools/kavrel/OpenSSL.hpp"

namespace KavrelCrypto::Host {

/// The authority that issues certificates for development and tests: a P-256 key and its own certificate,
/// which says what it is for, kept in the folder "authority" of a device.
class TestAuthority {
  public:
    /// The authority of the device in `deviceFolder`; where there is none yet it is made, once, however many
    /// processes ask at the same time. Throws CommandError when it can be neither read nor made.
    explicit TestAuthority(const std::filesystem::path& deviceFolder);

    /// A certificate (RFC 5280) in PEM for the subject and the key of `request`: valid for a year, with the
    /// extended key usage that the request asks for, as it asks for it. Nothing else that it asks for is
    /// granted. Throws CommandError when what it asks for cannot be read.
    [[nodiscard]] std::string issue(X509_REQ& request) const;

  private:
    PrivateKey key_;
    Certificate certificate_;
};

}  // namespace KavrelCrypto::Host
