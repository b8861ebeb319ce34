// "storeCertificate" and "getCertificate".

#include "keys/SecureKeyManager.hpp"
#include "plugin/CallArguments.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "storage/CSRStorage.hpp"

namespace KavrelCrypto {

void DigitalSignPlugin::storeCertificate(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    const std::optional<std::string> certPem = call->getString("certPem");
    if (!certPem.has_value() || certPem->empty()) {
        reject(*call, "Provide certPem");
        return;
    }
    if (SecureKeyManager::shared()->loadPrivateKey(*nationalCode, nullptr) == nullptr) {
        reject(*call, "Certificate is not valid (key missing)");
        return;
    }
    const std::optional<Bytes> publicKey = getPublicKeyData(*nationalCode);
    if (!publicKey.has_value() || !CSRStorage::verifyCertificateMatchesKey(*certPem, *publicKey)) {
        reject(*call, "Certificate is not valid");
        return;
    }
    // On purpose, the call resolves even if the keychain refused. A page that must be sure reads the
    // certificate back with "getCertificate".
    static_cast<void>(CSRStorage::shared().saveCSR(*certPem));
    call->resolve({{"stored", true}});
}

void DigitalSignPlugin::getCertificate(const CAPPluginCallRef& call) const {
    // On purpose, the code is demanded but not used: the app has one slot, whoever asks.
    if (!nationalCodeOrReject(*call).has_value()) {
        return;
    }
    const std::optional<std::string> certificate = CSRStorage::shared().getCSR();
    call->resolve({{"certPem", certificate.has_value() ? JSValue(*certificate) : JSValue(nullptr)}});
}

}  // namespace KavrelCrypto
