// "createCSR".

#include "csr/CSRBuilder.hpp"
#include "keys/SecureKeyManager.hpp"
#include "plugin/CallArguments.hpp"
#include "plugin/DigitalSignPlugin.hpp"

namespace KavrelCrypto {

void DigitalSignPlugin::createCSR(const CAPPluginCallRef& call) const {
    const JSObject* options = call->options();
    if (options == nullptr) {
        fatalError("a \"createCSR\" call must have an argument map");
    }
    const JSValue* argument = options->find("userInfo");
    const auto* object = argument == nullptr ? nullptr : argument->as<JSObject>();
    if (object == nullptr) {
        reject(*call, "userInfo required");
        return;
    }
    const std::optional<UserInfo> user = userInfo(*object);
    if (!user.has_value()) {
        reject(*call, "invalid userInfo");
        return;
    }
    if (user->nationalCode.empty()) {
        reject(*call, "nationalCode required");
        return;
    }
    try {
        static_cast<void>(SecureKeyManager::shared()->getOrCreatePrivateKey(user->nationalCode));
    } catch (const NSError& error) {
        reject(*call, "ensure_key_failed", error.localizedDescription());
        return;
    }
    std::string csrPem;
    try {
        csrPem = CSRBuilder::shared().buildCSR(user->nationalCode, *user);
    } catch (const NSError& error) {
        reject(*call, "csr_failed", error.localizedDescription());
        return;
    }
    call->resolve({{"csrPem", csrPem}});
}

}  // namespace KavrelCrypto
