#include "plugin/DigitalSignPlugin.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KavrelCrypto {
namespace {

/// "setStyle" is advertised and handled by nobody, on purpose: web layers count on finding it in the table.
std::vector<CAPPluginMethod> methodTable() {
    return {
        {"setStyle", "promise"},           {"hasKey", "promise"},           {"getKeyInfo", "promise"},
        {"deleteKey", "promise"},          {"storeCertificate", "promise"}, {"getCertificate", "promise"},
        {"createCSR", "promise"},          {"signDigest", "promise"},       {"ensureKey", "promise"},
        {"getBiometricStatus", "promise"},
    };
}

struct EntryPoint {
    std::string_view method;
    void (DigitalSignPlugin::*handler)(const CAPPluginCallRef&) const;
};

constexpr EntryPoint entryPoints[] = {
    {"hasKey", &DigitalSignPlugin::hasKey},
    {"getKeyInfo", &DigitalSignPlugin::getKeyInfo},
    {"deleteKey", &DigitalSignPlugin::deleteKey},
    {"storeCertificate", &DigitalSignPlugin::storeCertificate},
    {"getCertificate", &DigitalSignPlugin::getCertificate},
    {"createCSR", &DigitalSignPlugin::createCSR},
    {"signDigest", &DigitalSignPlugin::signDigest},
    {"ensureKey", &DigitalSignPlugin::ensureKey},
    {"getBiometricStatus", &DigitalSignPlugin::getBiometricStatus},
};

}  // namespace

DigitalSignPlugin::DigitalSignPlugin()
    : pluginMethods_(methodTable()), identifier_("DigitalSignPlugin"), jsName_("DigitalSign") {}

DigitalSignPlugin::DigitalSignPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName)
    : CAPPlugin(bridge, std::move(pluginId), std::move(pluginName)),
      pluginMethods_(methodTable()),
      identifier_("DigitalSignPlugin"),
      jsName_("DigitalSign") {}

const std::vector<CAPPluginMethod>& DigitalSignPlugin::pluginMethods() const {
    return pluginMethods_;
}

const std::string& DigitalSignPlugin::identifier() const {
    return identifier_;
}

const std::string& DigitalSignPlugin::jsName() const {
    return jsName_;
}

bool DigitalSignPlugin::perform(std::string_view method, const CAPPluginCallRef& call) const {
    const auto* const entryPoint =
        std::ranges::find_if(entryPoints, [&](const EntryPoint& e) { return e.method == method; });
    if (entryPoint == std::end(entryPoints)) {
        return false;
    }
    (this->*entryPoint->handler)(call);
    return true;
}

}  // namespace KavrelCrypto
