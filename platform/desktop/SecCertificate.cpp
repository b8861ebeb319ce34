#include <algorithm>
#include <array>
#include <string_view>

#include "platform/desktop/Failure.hpp"
#include "platform/desktop/OpenSSL.hpp"
#include "platform/desktop/SecKey.hpp"

namespace KavrelCrypto {

class SecCertificate {
  public:
    explicit SecCertificate(Desktop::X509Certificate certificate) : certificate_(std::move(certificate)) {}

    [[nodiscard]] X509* x509() const {
        return certificate_.get();
    }

  private:
    Desktop::X509Certificate certificate_;
};

class SecPolicy {};

class SecTrust {
  public:
    explicit SecTrust(SecCertificateRef certificate) : certificate_(std::move(certificate)) {}

    [[nodiscard]] const SecCertificate& certificate() const {
        return *certificate_;
    }

  private:
    SecCertificateRef certificate_;
};

namespace {

using namespace Desktop;

/// Whether the platform knows the elliptic curve of `key`: P-256, P-384 or P-521.
bool isKnownCurve(const EVP_PKEY* key) {
    std::array<char, 80> name{};
    std::size_t length = 0;
    if (EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) != 1) {
        return false;
    }
    const std::string_view curve(name.data(), length);
    return curve == "prime256v1" || curve == "secp384r1" || curve == "secp521r1";
}

bool isUsable(const EVP_PKEY* key) {
    switch (EVP_PKEY_get_base_id(key)) {
        case EVP_PKEY_RSA:
            return true;
        case EVP_PKEY_EC:
            return isKnownCurve(key);
        default:
            return false;
    }
}

}  // namespace

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    const unsigned char* position = data.data();
    X509Certificate certificate(d2i_X509(nullptr, &position, static_cast<long>(data.size())));
    // OpenSSL reads BER too, and stops where the certificate ends; what it writes is the certificate in DER.
    if (certificate == nullptr || !std::ranges::equal(encoded(i2d_X509, certificate.get()), data)) {
        lastOpenSSLError();
        return nullptr;
    }
    return std::make_shared<const SecCertificate>(std::move(certificate));
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return std::make_shared<const SecPolicy>();
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust) {
    if (certificate == nullptr || policy == nullptr || trust == nullptr) {
        return errSecParam;
    }
    *trust = std::make_shared<const SecTrust>(certificate);
    return errSecSuccess;
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    EVP_PKEY* key = X509_get0_pubkey(trust->certificate().x509());
    if (key == nullptr || !isUsable(key)) {
        lastOpenSSLError();
        return nullptr;
    }
    return std::make_shared<const SecKey>(SecKey::Material{share(key), false});
}

}  // namespace KavrelCrypto
