#include "plugin/DigitalSignPlugin.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KavrelCrypto {
namespace {

#define ADVERTISED(name) {#name, nullptr},
#define METHOD(name) {#name, &DigitalSignPlugin::name},
constexpr DigitalSignPlugin::Method allMethods[] = {KAVREL_CRYPTO_METHODS(ADVERTISED, METHOD)};
#undef ADVERTISED
#undef METHOD

std::vector<CAPPluginMethod> methodTable() {
    std::vector<CAPPluginMethod> table;
    for (const DigitalSignPlugin::Method& method : allMethods) {
        table.push_back({std::string(method.name), "promise"});
    }
    return table;
}

}  // namespace

DigitalSignPlugin::DigitalSignPlugin()
    : pluginMethods_(methodTable()), identifier_("DigitalSignPlugin"), jsName_("DigitalSign") {}

DigitalSignPlugin::DigitalSignPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName)
    : CAPPlugin(bridge, std::move(pluginId), std::move(pluginName)),
      pluginMethods_(methodTable()),
      identifier_("DigitalSignPlugin"),
      jsName_("DigitalSign") {}

std::span<const DigitalSignPlugin::Method> DigitalSignPlugin::methods() {
    return allMethods;
}

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
    const auto* const found = std::find_if(std::begin(allMethods), std::end(allMethods),
                                           [&](const Method& m) { return m.name == method; });
    if (found == std::end(allMethods) || found->entryPoint == nullptr) {
        return false;
    }
    (this->*found->entryPoint)(call);
    return true;
}

}  // namespace KavrelCrypto
