// "ensureKey", "hasKey", "deleteKey", "getKeyInfo", and the export of the public key.

#include <cstdint>

#include "keys/SecureKeyManager.hpp"
#include "plugin/CallArguments.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "storage/CSRStorage.hpp"
#include "text/PEM.hpp"

namespace KavrelCrypto {

void DigitalSignPlugin::ensureKey(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    const SecureKeyManager& keyManager = *SecureKeyManager::shared();
    // On purpose, and in spite of the name, the key is always replaced. (If the keychain refuses to delete
    // it, the key is found and kept.)
    keyManager.forceDeleteAllKeys(*nationalCode);
    try {
        static_cast<void>(keyManager.getOrCreatePrivateKey(*nationalCode));
    } catch (const NSError& error) {
        reject(*call, "ensure_key_failed", error.localizedDescription());
        return;
    }
    call->resolve({{"ok", true}});
}

void DigitalSignPlugin::hasKey(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    const bool exists = SecureKeyManager::shared()->loadPrivateKey(*nationalCode, nullptr) != nullptr;
    call->resolve({{"exists", exists}});
}

void DigitalSignPlugin::deleteKey(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    SecureKeyManager::shared()->forceDeleteAllKeys(*nationalCode);
    // On purpose, the slot is emptied whoever the certificate belongs to.
    CSRStorage::shared().deleteCSR();
    call->resolve({{"deleted", true}});
}

void DigitalSignPlugin::getKeyInfo(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    if (SecureKeyManager::shared()->loadPrivateKey(*nationalCode, nullptr) == nullptr) {
        reject(*call, "not found");
        return;
    }
    const std::optional<Bytes> publicKey = getPublicKeyData(*nationalCode);
    if (!publicKey.has_value()) {
        reject(*call, "failed to get public key");
        return;
    }
    const std::optional<std::string> certificate = CSRStorage::shared().getCSR();
    // On purpose, "alg", "createdAt" and "hardwareBacked" are constants: the manager makes one kind of key
    // and records no time. It is "alg" here and "algo" for a signature.
    call->resolve({
        {"alias", *nationalCode},
        {"alg", "RSA_2048"},
        {"createdAt", "unknown"},
        {"hardwareBacked", false},
        {"publicKeyPem", publicKeyPEM(*publicKey)},
        {"certificate", certificate.has_value() ? JSValue(*certificate) : JSValue(nullptr)},
    });
}

std::optional<Bytes> DigitalSignPlugin::getPublicKeyData(const std::string& alias) {
    const SecKeyRef privateKey = SecureKeyManager::shared()->loadPrivateKey(alias, nullptr);
    if (privateKey == nullptr) {
        return std::nullopt;
    }
    SecKeyRef publicKey;
    try {
        publicKey = SecureKeyManager::getPublicKey(privateKey);
    } catch (const NSError& error) {
        print("❌ getPublicKeyData error: " + error.description());
        return std::nullopt;
    }
    std::optional<Bytes> exported = SecKeyCopyExternalRepresentation(publicKey, nullptr);
    if (!exported.has_value()) {
        fatalError("a public key that was just derived must be exportable");
    }
    return exported;
}

}  // namespace KavrelCrypto
