#include "keys/SecureKeyManager.hpp"

#include <optional>
#include <string_view>

#include "keys/SecureKeyManagerError.hpp"

namespace KavrelCrypto {
namespace {

CFDictionary deletionQuery(Bytes tag, SecConstant keyClass) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, std::move(tag)},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeyClass, keyClass},
    };
}

}  // namespace

const std::shared_ptr<const SecureKeyManager>& SecureKeyManager::shared() {
    // Never destroyed, since a prompt may still be answered while the process ends.
    static const auto& instance = *new std::shared_ptr<const SecureKeyManager>(make());
    return instance;
}

std::shared_ptr<const SecureKeyManager> SecureKeyManager::make() {
    return std::shared_ptr<const SecureKeyManager>(new SecureKeyManager);
}

SecureKeyManager::SecureKeyManager()
    : privateTagPrefix("com.solbera.app.privatekey."), publicTagPrefix("com.solbera.app.publickey.") {}

Bytes SecureKeyManager::privateTag(const std::string& alias) const {
    return bytesOf(privateTagPrefix + alias);
}

Bytes SecureKeyManager::publicTag(const std::string& alias) const {
    return bytesOf(publicTagPrefix + alias);
}

SecKeyRef SecureKeyManager::generateKeyPair(const std::string& alias) const {
    // No Secure Enclave and no access control, on purpose: `sign` is the gate. The public half names no
    // accessibility, so it gets the platform's default.
    const CFDictionary parameters = {
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeySizeInBits, std::int64_t{2048}},
        {kSecPrivateKeyAttrs,
         CFDictionary{
             {kSecAttrIsPermanent, true},
             {kSecAttrApplicationTag, privateTag(alias)},
             {kSecAttrAccessible, kSecAttrAccessibleWhenUnlockedThisDeviceOnly},
         }},
        {kSecPublicKeyAttrs,
         CFDictionary{
             {kSecAttrIsPermanent, true},
             {kSecAttrApplicationTag, publicTag(alias)},
         }},
    };
    std::optional<NSError> error;
    SecKeyRef privateKey = SecKeyCreateRandomKey(parameters, &error);
    if (privateKey != nullptr) {
        return privateKey;
    }
    if (error.has_value()) {
        print("❌ SecKeyCreateRandomKey error: " + error->description());
        throw NSError(*error);
    }
    throw toNSError(SecureKeyManagerError::keyGenerationFailed);
}

SecKeyRef SecureKeyManager::loadPrivateKey(const std::string& alias, const LAContextRef& context) const {
    // Only the private half has this tag, so the query names no key class.
    CFDictionary query = {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, privateTag(alias)},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecReturnRef, true},
    };
    if (context != nullptr) {
        query.push_back({kSecUseAuthenticationContext, context});
        query.push_back({kSecUseAuthenticationUI, kSecUseAuthenticationUIAllow});
    }
    SecItemResult result;
    if (SecItemCopyMatching(query, &result) != errSecSuccess) {
        return nullptr;
    }
    const SecKeyRef* key = std::get_if<SecKeyRef>(&result);
    return key == nullptr ? nullptr : *key;
}

void SecureKeyManager::forceDeleteAllKeys(const std::string& alias) const {
    const OSStatus privateStatus = SecItemDelete(deletionQuery(privateTag(alias), kSecAttrKeyClassPrivate));
    const OSStatus publicStatus = SecItemDelete(deletionQuery(publicTag(alias), kSecAttrKeyClassPublic));
    // Two blanks follow "public", so that both labels have the same length.
    print("🔑 forceDeleteAllKeys private status: " + std::to_string(privateStatus));
    print("🔑 forceDeleteAllKeys public  status: " + std::to_string(publicStatus));
}

SecKeyRef SecureKeyManager::getPublicKey(const SecKeyRef& privateKey) {
    SecKeyRef publicKey = SecKeyCopyPublicKey(privateKey);
    if (publicKey == nullptr) {
        throw toNSError(SecureKeyManagerError::publicKeyNotAvailable);
    }
    return publicKey;
}

SecKeyRef SecureKeyManager::getOrCreatePrivateKey(const std::string& alias) const {
    if (SecKeyRef privateKey = loadPrivateKey(alias, nullptr)) {
        return privateKey;
    }
    // What an interrupted generation left must not lie beside the new pair.
    forceDeleteAllKeys(alias);
    return generateKeyPair(alias);
}

}  // namespace KavrelCrypto
