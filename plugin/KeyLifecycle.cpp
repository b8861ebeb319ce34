// "ensureKey", "hasKey", "deleteKey", "getKeyInfo", and the public key that the plugin exports.

#include <cstdint>

#include "keys/SecureKeyManager.hpp"
#include "plugin/CallFrame.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "storage/CSRStorage.hpp"
#include "text/PEM.hpp"

namespace KavrelCrypto {

void DigitalSignPlugin::ensureKey(const CAPPluginCallRef& call) const {
    const auto nationalCode = requiredNationalCode(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    const SecureKeyManager& keyManager = *SecureKeyManager::shared();
    // In spite of the name the key is always replaced; "createCSR" is the one that keeps a key. Should the
    // deletion not take, the key that is found is kept.
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
    const auto nationalCode = requiredNationalCode(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    const bool exists = SecureKeyManager::shared()->loadPrivateKey(*nationalCode, nullptr) != nullptr;
    call->resolve({{"exists", exists}});
}

void DigitalSignPlugin::deleteKey(const CAPPluginCallRef& call) const {
    const auto nationalCode = requiredNationalCode(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    SecureKeyManager::shared()->forceDeleteAllKeys(*nationalCode);
    // The slot is everybody's: another person's certificate goes too, on purpose.
    CSRStorage::shared().deleteCSR();
    call->resolve({{"deleted", true}});
}

void DigitalSignPlugin::getKeyInfo(const CAPPluginCallRef& call) const {
    const auto nationalCode = requiredNationalCode(*call);
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
    // Algorithm, time and hardware are constants: they say what kind of key the manager makes, and no time is
    // recorded anywhere. The key is "alg" here and "algo" for a signature; web layers know both.
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
