#pragma once

#include <memory>
#include <utility>

#include "platform/Security.hpp"

/// Policies and trust objects, for devices on which these decide nothing: a trust object leads to the
/// certificate that it was made of.
namespace KavrelCrypto {

class SecPolicy {};

class SecTrust {
  public:
    /// `certificate` is not null.
    explicit SecTrust(SecCertificateRef certificate) : certificate_(std::move(certificate)) {}

    [[nodiscard]] const SecCertificate& certificate() const {
        return *certificate_;
    }

    /// Does what SecTrustCreateWithCertificates does, and throws what memory allocation throws.
    static OSStatus create(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                           SecTrustRef* trust) {
        if (certificate == nullptr || policy == nullptr || trust == nullptr) {
            return errSecParam;
        }
        *trust = std::make_shared<const SecTrust>(certificate);
        return errSecSuccess;
    }

  private:
    SecCertificateRef certificate_;
};

}  // namespace KavrelCrypto
