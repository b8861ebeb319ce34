// A program that somebody else might write: it makes a key on a desktop device and asks whether it is there.

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "devices/desktop/Device.hpp"
#include "plugin/DigitalSignPlugin.hpp"

namespace {

using namespace KavrelCrypto;

class Call final : public CAPPluginCall {
  public:
    [[nodiscard]] const JSObject* options() const override {
        return &arguments;
    }
    void resolve(JSObject value) override {
        result = std::move(value);
    }
    void reject(std::string message, std::optional<std::string> code, std::optional<NSError>,
                std::optional<JSObject>) override {
        std::printf("rejected: %s %s\n", message.c_str(), code.value_or("").c_str());
    }

    JSObject arguments = {{"nationalCode", "0012345678"}};
    JSObject result;
};

JSObject resultOf(void (DigitalSignPlugin::*method)(const CAPPluginCallRef&) const) {
    const DigitalSignPlugin plugin;
    const auto call = std::make_shared<Call>();
    (plugin.*method)(call);
    return call->result;
}

}  // namespace

int main(int, char** arguments) {
    Desktop::openDevice(arguments[1]);
    const bool works = resultOf(&DigitalSignPlugin::ensureKey) == JSObject{{"ok", true}} &&
                       resultOf(&DigitalSignPlugin::hasKey) == JSObject{{"exists", true}} &&
                       resultOf(&DigitalSignPlugin::deleteKey) == JSObject{{"deleted", true}} &&
                       resultOf(&DigitalSignPlugin::hasKey) == JSObject{{"exists", false}};
    return works ? 0 : 1;
}
