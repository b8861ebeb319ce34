// "signDigest".

#include <utility>

#include "keys/SecureKeyManager.hpp"
#include "plugin/CallArguments.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto {

void DigitalSignPlugin::signDigest(const CAPPluginCallRef& call) const {
    const auto nationalCode = nationalCodeOrReject(*call);
    if (!nationalCode.has_value()) {
        return;
    }
    std::optional<std::string> digestB64 = call->getString("digestB64");
    std::optional<Bytes> digest = digestB64.has_value() ? base64Decode(*digestB64) : std::nullopt;
    if (!digest.has_value()) {
        reject(*call, "invalid digestB64");
        return;
    }
    // Any length is signed. Whether the person has a key shows only after the prompt.
    SecureKeyManager::shared()->sign(
        *nationalCode, *std::move(digest),
        [call, digestB64 = *std::move(digestB64)](const SecureKeyManager::SigningResult& result) {
            if (const Bytes* signature = std::get_if<Bytes>(&result)) {
                call->resolve({
                    {"signatureB64", base64Encode(*signature)},
                    {"algo", "RSA_SHA256"},
                    {"digestB64", digestB64},
                });
            } else {
                // On purpose, the page does not learn the reason.
                reject(*call, "sign_failed");
            }
        });
}

}  // namespace KavrelCrypto
