#include <Security/Security.h>
#include <algorithm>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <string_view>

#include "apple/standins/Keys.hpp"
#include "devices/desktop/DER.hpp"

namespace AppleStandIns {

namespace {

using Certificate = std::shared_ptr<X509>;

struct CertificateObject final : Object {
    explicit CertificateObject(Certificate certificate_)
        : Object(otherType), certificate(std::move(certificate_)) {}
    [[nodiscard]] std::string text() const override {
        return "a certificate";
    }
    const Certificate certificate;
};

struct PolicyObject final : Object {
    PolicyObject() : Object(otherType) {}
    [[nodiscard]] std::string text() const override {
        return "the basic X.509 policy";
    }
};

struct TrustObject final : Object {
    explicit TrustObject(Certificate certificate_)
        : Object(otherType), certificate(std::move(certificate_)) {}
    [[nodiscard]] std::string text() const override {
        return "a trust object";
    }
    const Certificate certificate;
};

/// Whether the key of `certificate` is written as DER writes it: OpenSSL takes a negative modulus for a
/// positive one.
bool isWrittenInDER(const EVP_PKEY& key, const X509& certificate) {
    const unsigned char* bytes = nullptr;
    int length = 0;
    X509_PUBKEY_get0_param(nullptr, &bytes, &length, nullptr, X509_get_X509_PUBKEY(&certificate));
    std::vector<std::uint8_t> der(static_cast<std::size_t>(i2d_PublicKey(&key, nullptr)));
    std::uint8_t* out = der.data();
    i2d_PublicKey(&key, &out);
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
    const auto& der = as<DataObject>(data).bytes;
    if (fails("SecCertificateCreateWithData", nullptr)) {
        return nullptr;
    }
    const std::uint8_t* in = der.data();
    Certificate certificate(d2i_X509(nullptr, &in, static_cast<long>(der.size())), X509_free);
    ERR_clear_error();
    // OpenSSL reads BER as well. Like Security, it leaves what follows the certificate alone.
    if (certificate == nullptr || !KavrelCrypto::Desktop::isDER({der.data(), in})) {
        return nullptr;
    }
    return referenceTo<SecCertificateRef>(new CertificateObject(std::move(certificate)));
}

SecPolicyRef SecPolicyCreateBasicX509() {
    record("SecPolicyCreateBasicX509", {});
    return fails("SecPolicyCreateBasicX509", nullptr) ? nullptr : referenceTo<SecPolicyRef>(new PolicyObject);
}

OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies, SecTrustRef* trust) {
    record("SecTrustCreateWithCertificates", {certificates, policies});
    const auto& single = as<CertificateObject>(certificates);
    if (policies != nullptr) {
        as<PolicyObject>(policies);
    }
    if (const auto failure = takeFailure("SecTrustCreateWithCertificates")) {
        const auto* status = std::get_if<OSStatus>(&*failure);
        return status == nullptr ? errSecSuccess : *status;
    }
    *trust = referenceTo<SecTrustRef>(new TrustObject(single.certificate));
    return errSecSuccess;
}

SecKeyRef SecTrustCopyKey(SecTrustRef trust) {
    record("SecTrustCopyKey", {trust});
    const auto& object = as<TrustObject>(trust);
    if (fails("SecTrustCopyKey", nullptr)) {
        return nullptr;
    }
    PKey key(X509_get_pubkey(object.certificate.get()), EVP_PKEY_free);
    const bool usable = key != nullptr && isUsable(*key, *object.certificate);
    ERR_clear_error();
    return usable ? makeKey(std::move(key), false) : nullptr;
}
