// The plugin as a page meets it: what the simulator exports to JavaScript besides the device.

#include <emscripten/bind.h>
#include <string>
#include <utility>

#include "devices/browser/Bridge.hpp"
#include "plugin/DigitalSignPlugin.hpp"

namespace KavrelCrypto {
namespace {

using emscripten::val;

JSObject objectOf(const val& object);

JSValue valueOf(const val& value) {
    if (value.isString()) {
        return value.as<std::string>();
    }
    if (value.isNumber()) {
        return value.as<double>();
    }
    if (value.isTrue() || value.isFalse()) {
        return value.isTrue();
    }
    if (value.isArray()) {
        JSArray array;
        const auto length = value["length"].as<unsigned>();
        for (unsigned index = 0; index < length; ++index) {
            array.push_back(valueOf(value[index]));
        }
        return array;
    }
    return value.isNull() ? JSValue() : JSValue(objectOf(value));
}

JSObject objectOf(const val& object) {
    std::vector<JSMember> members;
    const val keys = val::global("Object").call<val>("keys", object);
    const auto length = keys["length"].as<unsigned>();
    for (unsigned index = 0; index < length; ++index) {
        members.push_back({keys[index].as<std::string>(), valueOf(object[keys[index]])});
    }
    return JSObject(std::move(members));
}

/// The string that `text` is in UTF-8, by the module's property "stringOf". Emscripten's own conversion loses
/// a U+FEFF at the start and after each NUL.
val stringOf(const std::string& text) {
    return val::module_property("stringOf")(emscripten::typed_memory_view(text.size(), text.data()));
}

val valueOf(const JSObject& object);

/// Makes the JavaScript value for each kind of value.
struct MakeValue {
    val operator()(std::nullptr_t) const {
        return val::null();
    }
    val operator()(bool value) const {
        return val(value);
    }
    val operator()(std::int64_t value) const {
        return val(static_cast<double>(value));
    }
    val operator()(double value) const {
        return val(value);
    }
    val operator()(const std::string& value) const {
        return stringOf(value);
    }
    val operator()(const JSArray& value) const {
        val array = val::array();
        for (const JSValue& element : value) {
            array.call<void>("push", std::visit(*this, element.storage()));
        }
        return array;
    }
    val operator()(const JSObject& value) const {
        return valueOf(value);
    }
};

val valueOf(const JSObject& object) {
    val made = val::object();
    for (const auto& [key, value] : object.members()) {
        made.set(key, std::visit(MakeValue{}, value.storage()));
    }
    return made;
}

/// A call of the page: an object with `options`, `resolve(result)` and `reject(message, code)`.
class PageCall final : public CAPPluginCall {
  public:
    explicit PageCall(const val& call) : call_(call), options_(objectOf(call["options"])) {}

    [[nodiscard]] const JSObject* options() const override {
        return &options_;
    }

    void resolve(JSObject result) override {
        call_.call<void>("resolve", valueOf(result));
    }

    // The component gives neither an error nor data.
    void reject(std::string message, std::optional<std::string> code, std::optional<NSError>,
                std::optional<JSObject>) override {
        call_.call<void>("reject", message, code ? stringOf(*code) : val::undefined());
    }

  private:
    const val call_;
    const JSObject options_;
};

const DigitalSignPlugin& plugin() {
    static const auto& instance = *new DigitalSignPlugin;
    return instance;
}

/// The names of the registered methods, in the order of the table.
val methods() {
    val names = val::array();
    for (const CAPPluginMethod& method : plugin().pluginMethods()) {
        names.call<void>("push", method.name);
    }
    return names;
}

/// Hands `call` to the plugin's method. False, with the call untouched, when it has no handler of that name.
bool perform(const std::string& method, const val& call) {
    return plugin().perform(method, std::make_shared<PageCall>(call));
}

EMSCRIPTEN_BINDINGS(Plugin) {
    emscripten::function("methods", &methods);
    emscripten::function("perform", &perform);
}

}  // namespace
}  // namespace KavrelCrypto
