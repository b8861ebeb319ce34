#include <algorithm>
#include <array>
#include <climits>
#include <openssl/err.h>
#include <string_view>

#include "devices/SecTrust.hpp"
#include "devices/desktop/DER.hpp"
#include "devices/desktop/Failure.hpp"
#include "devices/desktop/OpenSSL.hpp"
#include "devices/desktop/SecKey.hpp"

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

namespace {

using namespace Desktop;

/// Returns whether the platform knows the elliptic curve of `key`: P-256, P-384 or P-521.
bool isKnownCurve(const EVP_PKEY* key) {
    std::array<char, 80> name{};
    std::size_t length = 0;
    if (EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) != 1) {
        return false;
    }
    const std::string_view curve(name.data(), length);
    return curve == "prime256v1" || curve == "secp384r1" || curve == "secp521r1";
}

/// Returns whether `key` is in `certificate` as DER writes it, with nothing after it. OpenSSL reads BER, and
/// takes a negative modulus for the positive one of the same bytes.
bool isWrittenInDER(const EVP_PKEY* key, const X509* certificate) {
    const unsigned char* bytes = nullptr;
    int length = 0;
    X509_PUBKEY_get0_param(nullptr, &bytes, &length, nullptr, X509_get_X509_PUBKEY(certificate));
    const Bytes anew = encode(i2d_PublicKey, key);
    return std::equal(anew.begin(), anew.end(), bytes, bytes + length);
}

/// Returns whether the key in `certificate` consists of whole bytes. OpenSSL clears what the BIT STRING calls
/// unused bits, and then reads another key than the one that is written.
bool isWholeBytes(const X509* certificate) {
    constexpr long unusedBits = 0x07;
    return (X509_get0_pubkey_bitstr(certificate)->flags & unusedBits) == 0;
}

/// Returns whether the platform can use `key`, which `certificate` holds. Like the platform, OpenSSL does not
/// look at the parameters of RSA's AlgorithmIdentifier.
bool isUsable(const EVP_PKEY* key, const X509* certificate) {
    if (!isWholeBytes(certificate)) {
        return false;
    }
    switch (EVP_PKEY_get_base_id(key)) {
        case EVP_PKEY_RSA:
            return isWrittenInDER(key, certificate);
        case EVP_PKEY_EC:
            return isKnownCurve(key);
        default:
            return false;
    }
}

}  // namespace

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    return resultOf(nullptr, [&]() -> SecCertificateRef {
        // No certificate is longer than OpenSSL, which counts in int, can say.
        const BytesView within = data.first(std::min(data.size(), std::size_t{INT_MAX}));
        const unsigned char* end = within.data();
        X509Certificate certificate(d2i_X509(nullptr, &end, static_cast<long>(within.size())));
        if (certificate == nullptr || !isDER({within.data(), end})) {
            ERR_clear_error();
            return nullptr;
        }
        return std::make_shared<const SecCertificate>(std::move(certificate));
    });
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return resultOf(nullptr, [] { return std::make_shared<const SecPolicy>(); });
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust) {
    return statusOf([&] { return SecTrust::create(certificate, policy, trust); });
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return resultOf(nullptr, [&]() -> SecKeyRef {
        X509* certificate = trust->certificate().x509();
        EVP_PKEY* key = X509_get0_pubkey(certificate);
        if (key == nullptr || !isUsable(key, certificate)) {
            ERR_clear_error();
            return nullptr;
        }
        return std::make_shared<const SecKey>(SecKey::Material{share(key), false});
    });
}

}  // namespace KavrelCrypto
