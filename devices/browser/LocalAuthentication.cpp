#include "platform/LocalAuthentication.hpp"

#include <emscripten/bind.h>

#include "devices/browser/Bridge.hpp"

namespace KavrelCrypto {

using Browser::Answer;
using Browser::ask;
using Browser::device;
using Browser::errorOf;
using Browser::val;

class LAContext {
  public:
    LABiometryType biometryType = LABiometryType::none;
};

LAContextRef makeLAContext() {
    return std::make_shared<LAContext>();
}

bool canEvaluatePolicy(LAContext& context, LAPolicy, std::optional<NSError>* error) {
    const Answer answer = ask("canEvaluatePolicy");
    if (answer.error) {
        *error = answer.error;
        return false;
    }
    context.biometryType = LABiometryType(answer.result["biometryType"].as<int>());
    const val obstacle = answer.result["obstacle"];
    if (!obstacle.isNull()) {
        *error = errorOf(obstacle);
    }
    return obstacle.isNull();
}

void evaluatePolicy(const LAContextRef& context, LAPolicy, const std::string& localizedReason,
                    LAReply reply) {
    if (localizedReason.empty()) {
        fatalError("a biometric prompt must give a reason");
    }
    // Owned by the device until it calls `replyTo`.
    auto* const pending =
        new LAReply([context, reply = std::move(reply)](bool success, std::optional<NSError> error) {
            reply(success, std::move(error));
        });
    device().call<void>("evaluatePolicy", localizedReason, reinterpret_cast<std::uintptr_t>(pending));
}

LABiometryType biometryType(const LAContext& context) {
    return context.biometryType;
}

namespace {

/// Hands the outcome of an evaluation to the reply that waits for it: `error` is null when the person was
/// recognised.
void replyTo(std::uintptr_t pending, const val& error) {
    const std::unique_ptr<LAReply> reply(reinterpret_cast<LAReply*>(pending));
    (*reply)(error.isNull(), error.isNull() ? std::nullopt : std::optional(errorOf(error)));
}

EMSCRIPTEN_BINDINGS(LocalAuthentication) {
    emscripten::function("replyTo", &replyTo);
}

}  // namespace
}  // namespace KavrelCrypto
