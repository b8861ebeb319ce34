#include "tools/kavrel/PluginCall.hpp"

#include <memory>
#include <thread>
#include <utility>

#include "platform/Dispatch.hpp"
#include "platform/desktop/MainQueue.hpp"

namespace KavrelCrypto::Host {

JSValue outcomeValue(const Outcome& outcome) {
    if (const auto* result = std::get_if<JSObject>(&outcome)) {
        return JSObject{{"resolve", *result}};
    }
    const auto& rejection = std::get<Rejection>(outcome);
    return JSObject{{"reject", JSObject{{"message", rejection.message},
                                        {"code", rejection.code ? JSValue(*rejection.code) : JSValue()}}}};
}

PluginCall::PluginCall(JSObject options, Ended ended)
    : options_(std::move(options)), ended_(std::move(ended)) {}

PluginCall::~PluginCall() {
    if (ended_) {
        end(std::nullopt);
    }
}

const JSObject* PluginCall::options() const {
    return &options_;
}

void PluginCall::resolve(JSObject result) {
    end(std::move(result));
}

void PluginCall::reject(std::string message, std::optional<std::string> code, std::optional<NSError>,
                        std::optional<JSObject>) {
    end(Rejection{std::move(message), std::move(code)});
}

void PluginCall::end(std::optional<Outcome> outcome) {
    std::exchange(ended_, nullptr)(std::move(outcome));
}

std::optional<Outcome> performCall(const DigitalSignPlugin& plugin, const std::string& method,
                                   JSObject options) {
    // Both are touched on this thread alone: the end of the call arrives through the main queue, and so also
    // wakes the queue when the call was finished on another thread.
    bool ended = false;
    std::optional<Outcome> outcome;
    auto call = std::make_shared<PluginCall>(std::move(options), [&](std::optional<Outcome> how) {
        dispatchAsyncMain([&, how = std::move(how)] {
            outcome = how;
            ended = true;
        });
    });
    std::thread delivery([&plugin, &method, call = std::move(call)] { plugin.perform(method, call); });
    Desktop::runMainQueueUntil([&] { return ended; });
    delivery.join();
    return outcome;
}

}  // namespace KavrelCrypto::Host
