#include "platform/Security.hpp"

#include <Security/Security.h>
#include <utility>

#include "devices/apple/CoreFoundation.hpp"
#include "devices/apple/Handles.hpp"

namespace KavrelCrypto {
namespace {

/// Returns the framework's error for bad parameters, which is also the error for a map that is not a
/// dictionary.
NSError badParameters() {
    return {.domain = "NSOSStatusErrorDomain", .code = errSecParam};
}

void setError(const CFRef<CFErrorRef>& failure, std::optional<NSError>* error) {
    if (error != nullptr && failure) {
        *error = toNSError(failure.get());
    }
}

/// Returns what a keychain operation found, or nothing if that has a type that was not asked for.
SecItemResult itemOf(CFRef<CFTypeRef> object) {
    if (!object) {
        return {};
    }
    const CFTypeID type = CFGetTypeID(object.get());
    if (type == CFDataGetTypeID()) {
        return bytesOf(static_cast<CFDataRef>(object.get()));
    }
    if (type == SecKeyGetTypeID()) {
        // The framework's type for keys is a pointer to something that is not const.
        auto* key = static_cast<::SecKeyRef>(const_cast<void*>(object.release()));
        return makeHandle<SecKey>(CFRef<::SecKeyRef>::adopting(key));
    }
    return {};
}

}  // namespace

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    const CFRef<CFDictionaryRef> dictionary = makeCFDictionary(attributes);
    if (!dictionary) {
        return errSecParam;
    }
    CFRef<CFTypeRef> object;
    const OSStatus status = ::SecItemAdd(dictionary.get(), result == nullptr ? nullptr : object.receive());
    if (status == errSecSuccess && result != nullptr) {
        *result = itemOf(std::move(object));
    }
    return status;
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    const CFRef<CFDictionaryRef> dictionary = makeCFDictionary(query);
    if (!dictionary) {
        return errSecParam;
    }
    CFRef<CFTypeRef> object;
    const OSStatus status = ::SecItemCopyMatching(dictionary.get(), object.receive());
    if (status == errSecSuccess && result != nullptr) {
        *result = itemOf(std::move(object));
    }
    return status;
}

OSStatus SecItemDelete(const CFDictionary& query) {
    const CFRef<CFDictionaryRef> dictionary = makeCFDictionary(query);
    return dictionary ? ::SecItemDelete(dictionary.get()) : errSecParam;
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    const CFRef<CFDictionaryRef> dictionary = makeCFDictionary(parameters);
    if (!dictionary) {
        if (error != nullptr) {
            *error = badParameters();
        }
        return nullptr;
    }
    CFRef<CFErrorRef> failure;
    auto key = CFRef<::SecKeyRef>::adopting(::SecKeyCreateRandomKey(dictionary.get(), failure.receive()));
    if (!key) {
        setError(failure, error);
    }
    return makeHandle<SecKey>(std::move(key));
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return makeHandle<SecKey>(CFRef<::SecKeyRef>::adopting(::SecKeyCopyPublicKey(referenceOf(key))));
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    CFRef<CFErrorRef> failure;
    const auto data =
        CFRef<CFDataRef>::adopting(::SecKeyCopyExternalRepresentation(referenceOf(key), failure.receive()));
    if (!data) {
        setError(failure, error);
        return std::nullopt;
    }
    return bytesOf(data.get());
}

std::size_t SecKeyGetBlockSize(const SecKeyRef& key) {
    return ::SecKeyGetBlockSize(referenceOf(key));
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error) {
    const CFRef<CFDataRef> data = makeCFData(dataToSign);
    CFRef<CFErrorRef> failure;
    const auto signature = CFRef<CFDataRef>::adopting(
        ::SecKeyCreateSignature(referenceOf(key), constantOf(algorithm), data.get(), failure.receive()));
    if (!signature) {
        setError(failure, error);
        return std::nullopt;
    }
    return bytesOf(signature.get());
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error) {
    const CFRef<CFDataRef> data = makeCFData(signedData);
    const CFRef<CFDataRef> signatureData = makeCFData(signature);
    CFRef<CFErrorRef> failure;
    const bool verified = ::SecKeyVerifySignature(referenceOf(key), constantOf(algorithm), data.get(),
                                                  signatureData.get(), failure.receive()) != 0;
    if (!verified) {
        setError(failure, error);
    }
    return verified;
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant protection, SecAccessControlCreateFlags flags,
                                                    std::optional<NSError>* error) {
    CFRef<CFErrorRef> failure;
    auto accessControl = CFRef<::SecAccessControlRef>::adopting(::SecAccessControlCreateWithFlags(
        kCFAllocatorDefault, constantOf(protection), static_cast<::SecAccessControlCreateFlags>(flags),
        failure.receive()));
    if (!accessControl) {
        setError(failure, error);
    }
    return makeHandle<SecAccessControl>(std::move(accessControl));
}

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    return makeHandle<SecCertificate>(CFRef<::SecCertificateRef>::adopting(
        ::SecCertificateCreateWithData(kCFAllocatorDefault, makeCFData(data).get())));
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return makeHandle<SecPolicy>(CFRef<::SecPolicyRef>::adopting(::SecPolicyCreateBasicX509()));
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust) {
    // The framework takes arrays, or one certificate and one policy.
    CFRef<::SecTrustRef> object;
    const OSStatus status =
        ::SecTrustCreateWithCertificates(referenceOf(certificate), referenceOf(policy), object.receive());
    if (status == errSecSuccess) {
        *trust = makeHandle<SecTrust>(std::move(object));
    }
    return status;
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return makeHandle<SecKey>(CFRef<::SecKeyRef>::adopting(::SecTrustCopyKey(referenceOf(trust))));
}

}  // namespace KavrelCrypto
