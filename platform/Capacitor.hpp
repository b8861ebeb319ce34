#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Foundation.hpp"

/// What the component uses of the plugin runtime, which is Capacitor on the phone. A host (Capacitor's class,
/// `kavrel`, a test) brings the calls.
namespace KavrelCrypto {

struct JSMember;
class JSValue;
using JSArray = std::vector<JSValue>;

/// A map from strings to values. It keeps its members in the order in which they were added, so that a result
/// prints in the order in which it is documented.
class JSObject {
  public:
    JSObject();
    JSObject(std::initializer_list<JSMember> members);
    /// No two members may have the same key.
    explicit JSObject(std::vector<JSMember> members);
    JSObject(const JSObject&);
    JSObject(JSObject&&) noexcept;
    JSObject& operator=(const JSObject&);
    JSObject& operator=(JSObject&&) noexcept;
    ~JSObject();

    /// Returns the value of `key`, which is compared byte for byte, or null if there is none. The object owns
    /// the value.
    [[nodiscard]] const JSValue* find(std::string_view key) const;

    [[nodiscard]] const std::vector<JSMember>& members() const;

    friend bool operator==(const JSObject&, const JSObject&);

  private:
    std::vector<JSMember> members_;
};

/// A JSON-like value: null, boolean, number, string (UTF-8), array or object. No value is ever converted to
/// another type.
class JSValue {
  public:
    JSValue(std::nullptr_t = nullptr);
    JSValue(bool value);
    JSValue(std::int64_t value);
    JSValue(double value);
    JSValue(std::string value);
    JSValue(const char* value);
    JSValue(JSArray value);
    JSValue(JSObject value);

    using Storage = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, JSArray, JSObject>;
    [[nodiscard]] const Storage& storage() const {
        return storage_;
    }

    /// Returns the value if it is a T, which is one of the alternatives of Storage, or null if it is not.
    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&storage_);
    }
    template <typename T>
    [[nodiscard]] T* as() {
        return std::get_if<T>(&storage_);
    }

    friend bool operator==(const JSValue&, const JSValue&);

  private:
    Storage storage_;
};

struct JSMember {
    std::string key;
    JSValue value;

    friend bool operator==(const JSMember&, const JSMember&) = default;
};

/// One method that a plugin registers.
struct CAPPluginMethod {
    std::string name;
    std::string returnType;

    friend bool operator==(const CAPPluginMethod&, const CAPPluginMethod&) = default;
};

/// One pending call of a page, which the host implements. It is settled exactly once, by `resolve` or by
/// `reject`. A method that settles it later holds on to it until then.
class CAPPluginCall {
  public:
    CAPPluginCall() = default;
    CAPPluginCall(const CAPPluginCall&) = delete;
    CAPPluginCall& operator=(const CAPPluginCall&) = delete;
    virtual ~CAPPluginCall() = default;

    /// Returns the call's whole argument map, which the call owns, or null if the call came without one.
    [[nodiscard]] virtual const JSObject* options() const = 0;

    /// Returns the argument `key`. Absent if there is none or if it is not a string.
    [[nodiscard]] std::optional<std::string> getString(std::string_view key) const;

    /// Settles the call with a result.
    virtual void resolve(JSObject result) = 0;

    /// Settles the call with a failure.
    virtual void reject(std::string message, std::optional<std::string> code, std::optional<NSError> error,
                        std::optional<JSObject> data) = 0;
};

using CAPPluginCallRef = std::shared_ptr<CAPPluginCall>;

/// The runtime, as a plugin sees it. Only the runtime defines the class.
class CAPBridgeProtocol;

/// The runtime's base class for plugins.
class CAPPlugin {
  public:
    CAPPlugin() = default;
    /// The runtime owns `bridge`; the plugin only refers to it.
    CAPPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName);
    CAPPlugin(const CAPPlugin&) = delete;
    CAPPlugin& operator=(const CAPPlugin&) = delete;
    virtual ~CAPPlugin() = default;

    [[nodiscard]] CAPBridgeProtocol* bridge() const {
        return bridge_;
    }
    [[nodiscard]] const std::string& pluginId() const {
        return pluginId_;
    }
    [[nodiscard]] const std::string& pluginName() const {
        return pluginName_;
    }

  private:
    CAPBridgeProtocol* bridge_ = nullptr;
    std::string pluginId_;
    std::string pluginName_;
};

/// What a plugin tells the runtime about itself.
class CAPBridgedPlugin {
  public:
    CAPBridgedPlugin() = default;
    CAPBridgedPlugin(const CAPBridgedPlugin&) = delete;
    CAPBridgedPlugin& operator=(const CAPBridgedPlugin&) = delete;
    virtual ~CAPBridgedPlugin() = default;

    [[nodiscard]] virtual const std::vector<CAPPluginMethod>& pluginMethods() const = 0;
    [[nodiscard]] virtual const std::string& identifier() const = 0;
    [[nodiscard]] virtual const std::string& jsName() const = 0;
};

}  // namespace KavrelCrypto
