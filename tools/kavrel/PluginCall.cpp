#include "tools/kavrel/PluginCall.hpp"

#include <exception>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "devices/desktop/MainQueue.hpp"
#include "platform/Dispatch.hpp"
#include "tools/kavrel/CommandIO.hpp"

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
        reportEnd(std::nullopt);
    }
}

const JSObject* PluginCall::options() const {
    return &options_;
}

void PluginCall::resolve(JSObject result) {
    reportEnd(std::move(result));
}

void PluginCall::reject(std::string message, std::optional<std::string> code, std::optional<NSError>,
                        std::optional<JSObject>) {
    reportEnd(Rejection{std::move(message), std::move(code)});
}

void PluginCall::reportEnd(std::optional<Outcome> outcome) {
    std::exchange(ended_, nullptr)(std::move(outcome));
}

namespace {

/// Whether a call has ended, and how. Only the main thread reads and writes it: a call that ends on another
/// thread posts a task to the main queue, which the main thread runs.
struct End {
    bool isThere = false;
    std::optional<Outcome> outcome;
    std::exception_ptr failure;
};

/// A thread that is joined when it goes out of scope, also when an exception is on its way.
class JoiningThread {
  public:
    explicit JoiningThread(std::thread thread) : thread_(std::move(thread)) {}
    JoiningThread(const JoiningThread&) = delete;
    JoiningThread& operator=(const JoiningThread&) = delete;
    ~JoiningThread() {
        thread_.join();
    }

  private:
    std::thread thread_;
};

std::thread startThread(std::function<void()> task) {
    try {
        return std::thread(std::move(task));
    } catch (const std::system_error& error) {
        throw CommandError("no thread can be started for the call: " + error.code().message());
    }
}

}  // namespace

std::optional<Outcome> performCall(const DigitalSignPlugin& plugin, std::string_view method,
                                   JSObject options) {
    // Shared, because after an exception the call may outlive this function.
    const auto end = std::make_shared<End>();
    auto call = std::make_shared<PluginCall>(std::move(options), [end](std::optional<Outcome> outcome) {
        dispatchAsyncMain([end, outcome = std::move(outcome)]() mutable {
            end->outcome = std::move(outcome);
            end->isThere = true;
        });
    });
    {
        const JoiningThread delivery(startThread([&plugin, method, end, call = std::move(call)] {
            try {
                plugin.perform(method, call);
            } catch (...) {
                dispatchAsyncMain([end, failure = std::current_exception()] {
                    end->failure = failure;
                    end->isThere = true;
                });
            }
        }));
        Desktop::runMainQueueUntil([&] { return end->isThere; });
    }
    if (end->failure) {
        std::rethrow_exception(end->failure);
    }
    return std::move(end->outcome);
}

}  // namespace KavrelCrypto::Host
