#include "storage/CSRStorage.hpp"

#include <algorithm>

#include "platform/Security.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"
#include "text/UTF8.hpp"

namespace KavrelCrypto {
namespace {

CFDictionary slot(const std::string& account) {
    return {
        {kSecClass, kSecClassGenericPassword},
        {kSecAttrAccount, account},
    };
}

/// Returns the public key of the certificate `der`, or null. The trust object only leads to the key; it is
/// never evaluated, on purpose.
SecKeyRef certificatePublicKey(BytesView der) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(der);
    if (certificate == nullptr) {
        return nullptr;
    }
    SecTrustRef trust;
    const OSStatus status = SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust);
    return status == errSecSuccess && trust != nullptr ? SecTrustCopyKey(trust) : nullptr;
}

}  // namespace

const CSRStorage& CSRStorage::shared() {
    static const CSRStorage& instance = *new CSRStorage;
    return instance;
}

CSRStorage::CSRStorage() : keychainKey("com.ios.kavrel.cachedCSR") {}

bool CSRStorage::saveCSR(const std::string& text) const {
    // The slot is replaced by deleting and adding, never by updating. If there is nothing to delete, that is
    // not a failure.
    static_cast<void>(SecItemDelete(slot(keychainKey)));
    CFDictionary item = slot(keychainKey);
    item.push_back({kSecValueData, bytesOf(text)});
    item.push_back({kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly});
    return SecItemAdd(item, nullptr) == errSecSuccess;
}

std::optional<std::string> CSRStorage::getCSR() const {
    CFDictionary query = slot(keychainKey);
    query.push_back({kSecReturnData, true});
    query.push_back({kSecMatchLimit, kSecMatchLimitOne});
    SecItemResult result;
    if (SecItemCopyMatching(query, &result) != errSecSuccess) {
        return std::nullopt;
    }
    const Bytes* bytes = std::get_if<Bytes>(&result);
    if (bytes == nullptr) {
        return std::nullopt;
    }
    std::string text(bytes->begin(), bytes->end());
    return isUTF8(text) ? std::optional(std::move(text)) : std::nullopt;
}

bool CSRStorage::deleteCSR() const {
    return SecItemDelete(slot(keychainKey)) == errSecSuccess;
}

bool CSRStorage::verifyCertificateMatchesKey(const std::string& certPem, BytesView publicKeyData) {
    const std::optional<Bytes> der = base64Decode(certificatePEMBody(certPem));
    if (!der.has_value()) {
        return false;
    }
    const SecKeyRef publicKey = certificatePublicKey(*der);
    if (publicKey == nullptr) {
        return false;
    }
    std::optional<NSError> error;
    const std::optional<Bytes> exported = SecKeyCopyExternalRepresentation(publicKey, &error);
    return exported.has_value() &&
           std::equal(exported->begin(), exported->end(), publicKeyData.begin(), publicKeyData.end());
}

}  // namespace KavrelCrypto
