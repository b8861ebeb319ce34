#include "platform/Capacitor.hpp"

#include <algorithm>
#include <utility>

namespace KavrelCrypto {

JSObject::JSObject() = default;
JSObject::JSObject(const JSObject&) = default;
JSObject::JSObject(JSObject&&) noexcept = default;
JSObject& JSObject::operator=(const JSObject&) = default;
JSObject& JSObject::operator=(JSObject&&) noexcept = default;
JSObject::~JSObject() = default;

JSObject::JSObject(std::initializer_list<JSMember> members) : members_(members) {}

JSObject::JSObject(std::vector<JSMember> members) : members_(std::move(members)) {}

const JSValue* JSObject::find(std::string_view key) const {
    const auto member =
        std::find_if(members_.begin(), members_.end(), [&](const JSMember& m) { return m.key == key; });
    return member == members_.end() ? nullptr : &member->value;
}

const std::vector<JSMember>& JSObject::members() const {
    return members_;
}

bool operator==(const JSObject& left, const JSObject& right) {
    return left.members_ == right.members_;
}

JSValue::JSValue(std::nullptr_t) : storage_(nullptr) {}
JSValue::JSValue(bool value) : storage_(value) {}
JSValue::JSValue(std::int64_t value) : storage_(value) {}
JSValue::JSValue(double value) : storage_(value) {}
JSValue::JSValue(std::string value) : storage_(std::move(value)) {}
JSValue::JSValue(const char* value) : storage_(std::string(value)) {}
JSValue::JSValue(JSArray value) : storage_(std::move(value)) {}
JSValue::JSValue(JSObject value) : storage_(std::move(value)) {}

bool operator==(const JSValue& left, const JSValue& right) {
    return left.storage_ == right.storage_;
}

std::optional<std::string> CAPPluginCall::getString(std::string_view key) const {
    const JSObject* arguments = options();
    const JSValue* value = arguments == nullptr ? nullptr : arguments->find(key);
    const auto* text = value == nullptr ? nullptr : value->as<std::string>();
    return text == nullptr ? std::nullopt : std::optional(*text);
}

CAPPlugin::CAPPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName)
    : bridge_(bridge), pluginId_(std::move(pluginId)), pluginName_(std::move(pluginName)) {}

}  // namespace KavrelCrypto
