#include "platform/Security.hpp"

#include "devices/SecTrust.hpp"
#include "devices/browser/Bridge.hpp"

namespace KavrelCrypto {

using Browser::Answer;
using Browser::arrayOf;
using Browser::ask;
using Browser::bytesOf;
using Browser::device;
using Browser::objectOf;
using Browser::val;

/// A key. What it is made of stays in JavaScript, and most of that inside WebCrypto.
class SecKey {
  public:
    explicit SecKey(val key) : key_(std::move(key)) {}

    [[nodiscard]] const val& value() const {
        return key_;
    }

  private:
    val key_;
};

class SecCertificate {
  public:
    explicit SecCertificate(val certificate) : certificate_(std::move(certificate)) {}

    [[nodiscard]] const val& value() const {
        return certificate_;
    }

  private:
    val certificate_;
};

/// Nothing here can have one, so none is ever made.
class SecAccessControl {};

namespace {

SecKeyRef keyOf(const val& key) {
    return key.isNull() ? nullptr : std::make_shared<const SecKey>(key);
}

/// Sets `*error`, unless `error` is null, to one that says what this device lacks. No method of the plugin
/// asks for it.
void refuse(const char* what, std::optional<NSError>* error) {
    constexpr OSStatus errSecUnimplemented = -4;
    if (error != nullptr) {
        *error = NSError{.domain = "NSOSStatusErrorDomain",
                         .code = errSecUnimplemented,
                         .userInfo = {{std::string(NSLocalizedDescriptionKey),
                                       std::string("The browser device has no ") + what + "."}}};
    }
}

/// Whether WebCrypto can use a key with `algorithm`: a key there is bound to one algorithm for good.
bool isSupported(SecKeyAlgorithm algorithm, std::optional<NSError>* error) {
    if (algorithm == kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256) {
        return true;
    }
    refuse("signature algorithm but RSASSA-PKCS1-v1_5 with SHA-256", error);
    return false;
}

}  // namespace

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    const Answer answer = ask("SecItemAdd", objectOf(attributes));
    if (!answer.error && result != nullptr) {
        *result = SecItemResult();
    }
    return answer.status();
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    const Answer answer = ask("SecItemCopyMatching", objectOf(query));
    if (!answer.error && result != nullptr) {
        const val& found = answer.result;
        if (found.isNull()) {
            *result = SecItemResult();
        } else if (found.instanceof (val::global("Uint8Array"))) {
            *result = bytesOf(found);
        } else {
            *result = keyOf(found);
        }
    }
    return answer.status();
}

OSStatus SecItemDelete(const CFDictionary& query) {
    return ask("SecItemDelete", objectOf(query)).status();
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    return ask("SecKeyCreateRandomKey", objectOf(parameters)).resultOr(error, keyOf);
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return keyOf(device().call<val>("SecKeyCopyPublicKey", key->value()));
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    return ask("SecKeyCopyExternalRepresentation", key->value()).resultOr(error, [](const val& bytes) {
        return std::optional(bytesOf(bytes));
    });
}

std::size_t SecKeyGetBlockSize(const SecKeyRef& key) {
    return device().call<unsigned>("SecKeyGetBlockSize", key->value());
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error) {
    if (!isSupported(algorithm, error)) {
        return std::nullopt;
    }
    return ask("SecKeyCreateSignature", key->value(), arrayOf(dataToSign))
        .resultOr(error, [](const val& bytes) { return std::optional(bytesOf(bytes)); });
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error) {
    return isSupported(algorithm, error) &&
           ask("SecKeyVerifySignature", key->value(), arrayOf(signedData), arrayOf(signature))
               .resultOr(error, [](const val&) { return true; });
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant, SecAccessControlCreateFlags,
                                                    std::optional<NSError>* error) {
    refuse("access control", error);
    return nullptr;
}

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    const val certificate = device().call<val>("SecCertificateCreateWithData", arrayOf(data));
    return certificate.isNull() ? nullptr : std::make_shared<const SecCertificate>(certificate);
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return std::make_shared<const SecPolicy>();
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust) {
    return SecTrust::create(certificate, policy, trust);
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return keyOf(device().call<val>("SecTrustCopyKey", trust->certificate().value()));
}

}  // namespace KavrelCrypto
