#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/Capacitor.hpp"
#include "plugin/DigitalSignPlugin.hpp"

/// Calls of the plugin by a host that is no phone.
namespace KavrelCrypto::Host {

/// What a rejected call is given. The plugin never gives an error object or data.
struct Rejection {
    std::string message;
    std::optional<std::string> code;
};

/// How a call was finished: with a result or with a rejection.
using Outcome = std::variant<JSObject, Rejection>;

/// `{"resolve":{…}}` or `{"reject":{"message":"…","code":null}}`.
JSValue outcomeValue(const Outcome& outcome);

/// A call that tells its host how it ended.
class PluginCall final : public CAPPluginCall {
  public:
    /// Called once, on whichever thread: with the outcome or, when the last one to hold the call has let it
    /// go unfinished, so that nothing can finish it any more, with nothing.
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
    void end(std::optional<Outcome> outcome);

    const JSObject options_;
    Ended ended_;
};

/// Delivers one call on a thread of its own, as the runtime does, and drains the main queue until it has
/// ended. Absent when nothing will ever finish it. Throws what the component threw instead of finishing it,
/// such as std::bad_alloc. Only the main thread calls this.
std::optional<Outcome> performCall(const DigitalSignPlugin& plugin, std::string_view method,
                                   JSObject options);

}  // namespace KavrelCrypto::Host
