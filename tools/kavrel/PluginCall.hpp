#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/Capacitor.hpp"
#include "plugin/DigitalSignPlugin.hpp"

/// Plugin calls made by a host that is not a phone.
namespace KavrelCrypto::Host {

/// What a call is rejected with. The plugin never passes an error object or data.
struct Rejection {
    std::string message;
    std::optional<std::string> code;
};

/// How a call was settled: with a result or with a rejection.
using Outcome = std::variant<JSObject, Rejection>;

/// Returns `{"resolve":{…}}` or `{"reject":{"message":"…","code":null}}`.
JSValue outcomeValue(const Outcome& outcome);

/// A call that tells its host how it was settled.
class PluginCall final : public CAPPluginCall {
  public:
    /// Called once, on any thread. The outcome is absent if nothing can settle the call any more, because
    /// whoever held it last let it go.
    using Ended = std::function<void(std::optional<Outcome>)>;

    PluginCall(JSObject options, Ended ended);
    PluginCall(const PluginCall&) = delete;
    PluginCall& operator=(const PluginCall&) = delete;
    ~PluginCall() override;

    [[nodiscard]] const JSObject* options() const override;
    void resolve(JSObject result) override;
    void reject(std::string message, std::optional<std::string> code, std::optional<NSError> error,
                std::optional<JSObject> data) override;

  private:
    void reportEnd(std::optional<Outcome> outcome);

    const JSObject options_;
    Ended ended_;
};

/// Delivers one call on a thread of its own, as the runtime does, and drains the main queue until the call
/// has ended. Returns nothing if nothing will ever settle it. Throws what the component threw instead of
/// settling it, such as std::bad_alloc. Must be called on the main thread.
std::optional<Outcome> performCall(const DigitalSignPlugin& plugin, std::string_view method,
                                   JSObject options);

}  // namespace KavrelCrypto::Host
