#include <Security/Security.h>
#include <algorithm>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <string_view>

#include "apple/standins/Object.hpp"
#include "devices/desktop/DER.hpp"
#include "devices/desktop/OpenSSL.hpp"

namespace AppleStandIns {
namespace {

/// Whether the key of `certificate` is written as DER writes it: OpenSSL takes a negative modulus for a
/// positive one.
bool isWrittenInDER(const EVP_PKEY& key, const X509& certificate) {
    const unsigned char* bytes = nullptr;
    int length = 0;
    X509_PUBKEY_get0_param(nullptr, &bytes, &length, nullptr, X509_get_X509_PUBKEY(&certificate));
    const Bytes der = KavrelCrypto::Desktop::encode(i2d_PublicKey, &key);
    return std::equal(der.begin(), der.end(), bytes, bytes + length);
}

/// Whether Security has keys of the kind: RSA, or on one of three curves.
bool isUsable(const EVP_PKEY& key, const X509& certificate) {
    char curve[16] = "";
    EVP_PKEY_get_group_name(&key, curve, sizeof curve, nullptr);
    const std::string_view name(curve);
    return (EVP_PKEY_get_base_id(&key) == EVP_PKEY_RSA && isWrittenInDER(key, certificate)) ||
           name == "prime256v1" || name == "secp384r1" || name == "secp521r1";
}

}  // namespace
}  // namespace AppleStandIns

using namespace AppleStandIns;

SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef, CFDataRef data) {
    record("SecCertificateCreateWithData", {data});
    const auto& der = as<Bytes>(data);
    if (fails("SecCertificateCreateWithData", nullptr)) {
        return nullptr;
    }
    const std::uint8_t* in = der.data();
    std::shared_ptr<X509> certificate(d2i_X509(nullptr, &in, static_cast<long>(der.size())), X509_free);
    ERR_clear_error();
    // OpenSSL reads BER as well. Like Security, it leaves what follows the certificate alone.
    if (certificate == nullptr || !KavrelCrypto::Desktop::isDER({der.data(), in})) {
        return nullptr;
    }
    return make<SecCertificateRef>(Certificate{std::move(certificate)});
}

SecPolicyRef SecPolicyCreateBasicX509() {
    record("SecPolicyCreateBasicX509", {});
    return fails("SecPolicyCreateBasicX509", nullptr) ? nullptr : make<SecPolicyRef>(Policy());
}

OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies, SecTrustRef* trust) {
    record("SecTrustCreateWithCertificates", {certificates, policies});
    const auto& single = as<Certificate>(certificates);
    if (policies != nullptr) {
        as<Policy>(policies);
    }
    if (const auto failure = takeFailure("SecTrustCreateWithCertificates")) {
        const auto* status = std::get_if<OSStatus>(&*failure);
        return status == nullptr ? errSecSuccess : *status;
    }
    *trust = make<SecTrustRef>(Trust{single});
    return errSecSuccess;
}

SecKeyRef SecTrustCopyKey(SecTrustRef trust) {
    record("SecTrustCopyKey", {trust});
    X509* certificate = as<Trust>(trust).certificate.x509.get();
    if (fails("SecTrustCopyKey", nullptr)) {
        return nullptr;
    }
    std::shared_ptr<EVP_PKEY> key(X509_get_pubkey(certificate), EVP_PKEY_free);
    const bool usable = key != nullptr && isUsable(*key, *certificate);
    ERR_clear_error();
    return usable ? make<SecKeyRef>(Key{std::move(key), false}) : nullptr;
}
