#include "csr/CryptoUtils.hpp"

#include <optional>

namespace KavrelCrypto {
namespace {

CFDictionary halfAttributes(const std::string& tag) {
    return {
        {kSecAttrIsPermanent, true},
        {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
        {kSecAttrApplicationTag, bytesOf(tag)},
    };
}

SecAccessControlRef privateKeyUsage() {
    SecAccessControlRef accessControl = SecAccessControlCreateWithFlags(
        kSecAttrAccessibleAfterFirstUnlock, kSecAccessControlPrivateKeyUsage, nullptr);
    if (accessControl == nullptr) {
        fatalError("the platform must make an access control for a private key");
    }
    return accessControl;
}

CFDictionary generationParameters(const KeyAlgorithm& algorithm, std::int64_t keySize,
                                  const std::string& tagPrivate, const std::string& tagPublic) {
    CFDictionary privateAttributes = halfAttributes(tagPrivate);
    if (algorithm.isEC()) {
        // Named, because GCC 12 at -O3 warns that a temporary moved from here may be uninitialised. It is
        // not.
        const CFDictionaryEntry usage{kSecAttrAccessControl, privateKeyUsage()};
        privateAttributes.push_back(usage);
    }
    CFDictionary parameters = {
        {kSecAttrKeyType, algorithm.secKeyAttrType()},
        {kSecAttrKeySizeInBits, keySize},
        {kSecReturnRef, true},
        {kSecPublicKeyAttrs, halfAttributes(tagPublic)},
        {kSecPrivateKeyAttrs, std::move(privateAttributes)},
    };
    if (algorithm.isEC()) {
        parameters.push_back({kSecAttrTokenID, kSecAttrTokenIDSecureEnclave});
    }
    return parameters;
}

/// Returns the key that a lookup found, or null if it returned something else.
SecKeyRef keyOf(const SecItemResult& result) {
    const SecKeyRef* key = std::get_if<SecKeyRef>(&result);
    return key == nullptr ? nullptr : *key;
}

}  // namespace

CryptoUtils::CryptoUtils()
    : keyManager(SecureKeyManager::shared()),
      privateTagPrefix("com.kavrel.app.privatekey"),
      publicTagPrefix("com.kavrel.app.publickey") {}

std::string CryptoUtils::privateTag(const std::string& alias) const {
    return privateTagPrefix + alias;
}

std::string CryptoUtils::publicTag(const std::string& alias) const {
    return publicTagPrefix + alias;
}

SecKeyRef CryptoUtils::loadKey(const std::string& name) const {
    const CFDictionary query = {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, bytesOf(name)},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecReturnRef, true},
    };
    SecItemResult result;
    return SecItemCopyMatching(query, &result) == errSecSuccess ? keyOf(result) : nullptr;
}

std::pair<SecKeyRef, SecKeyRef> CryptoUtils::generateKeysAndStoreInKeychain(
    const KeyAlgorithm& algorithm, std::int64_t keySize, const std::string& tagPrivate,
    const std::string& tagPublic) const {
    std::optional<NSError> error;
    SecKeyRef privateKey =
        SecKeyCreateRandomKey(generationParameters(algorithm, keySize, tagPrivate, tagPublic), &error);
    if (privateKey == nullptr) {
        if (error.has_value()) {
            print("Error creating keys occurred: " + error->description() + ", keys weren't created");
        }
        return {nullptr, nullptr};
    }

    const CFDictionary publicQuery = {
        {kSecClass, kSecClassKey},
        {kSecAttrKeyType, algorithm.secKeyAttrType()},
        {kSecAttrApplicationTag, bytesOf(tagPublic)},
        {kSecReturnRef, true},
    };
    SecItemResult result;
    const OSStatus status = SecItemCopyMatching(publicQuery, &result);
    if (status != errSecSuccess) {
        print("Error getting publicKey from keychain occurred: " + std::to_string(status));
        return {std::move(privateKey), nullptr};
    }
    return {std::move(privateKey), keyOf(result)};
}

}  // namespace KavrelCrypto
