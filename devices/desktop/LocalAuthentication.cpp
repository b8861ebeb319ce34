#include "platform/LocalAuthentication.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <list>
#include <mutex>
#include <system_error>
#include <utility>

#include "devices/desktop/CurrentDevice.hpp"
#include "devices/desktop/Failure.hpp"
#include "devices/desktop/Sensor.hpp"

namespace KavrelCrypto {

class LAContext {
  public:
    std::atomic<LABiometryType> biometryType = LABiometryType::none;
};

namespace {

using namespace Desktop;

constexpr std::int64_t LAErrorAuthenticationFailed = -1;
constexpr std::int64_t LAErrorUserCancel = -2;

NSError authenticationError(std::int64_t code, const char* description) {
    return {.domain = "com.apple.LocalAuthentication",
            .code = code,
            .userInfo = {{std::string(NSLocalizedDescriptionKey), description}}};
}

/// Returns why the sensor cannot be used, or an absent value if it can.
std::optional<NSError> obstacle(const DeviceState& state) {
    if (state.biometry == LABiometryType::none) {
        return authenticationError(LAErrorBiometryNotAvailable, "Biometry is not available on this device.");
    }
    if (!state.enrolled) {
        return authenticationError(LAErrorBiometryNotEnrolled, "No identities are enrolled.");
    }
    if (state.lockedOut) {
        return authenticationError(LAErrorBiometryLockout, "Biometry is locked out.");
    }
    return std::nullopt;
}

void countFailure(DeviceState& state) {
    // Prompts that were open when the sensor locked itself out may still fail.
    state.failedPrompts = std::min(state.failedPrompts + 1, promptsBeforeLockout);
    state.lockedOut = state.lockedOut || state.failedPrompts >= promptsBeforeLockout;
}

/// Forgets the failures before a match. Returns false and sets `*error` if the sensor can no longer be used:
/// other prompts may have locked it out since this one was shown.
bool recognise(Keychain& keychain, std::optional<NSError>* error) {
    const DeviceState state = keychain.state();
    *error = obstacle(state);
    if (!*error && state.failedPrompts != 0) {  // most often there is nothing to forget, and no write
        keychain.changeState([&](DeviceState& present) {
            *error = obstacle(present);
            present.failedPrompts = *error ? present.failedPrompts : 0;
        });
    }
    return !*error;
}

/// Counts the answer to a prompt. Returns whether the person was recognised and, if not, sets `*error`.
bool judge(Keychain& keychain, PromptAnswer answer, std::optional<NSError>* error) {
    switch (answer) {
        case PromptAnswer::match:
            return recognise(keychain, error);
        case PromptAnswer::noMatch:
            keychain.changeState(countFailure);
            *error = authenticationError(LAErrorAuthenticationFailed, "Application retry limit exceeded.");
            return false;
        case PromptAnswer::cancel:
            break;
    }
    *error = authenticationError(LAErrorUserCancel, "Canceled by user.");
    return false;
}

/// Runs `task` on a thread of its own. Throws a Failure if the system has none.
std::future<void> startThread(std::function<void()> task) {
    try {
        // What the task holds goes before the thread counts as finished.
        return std::async(std::launch::async,
                          [task = std::move(task)]() mutable { std::exchange(task, nullptr)(); });
    } catch (const std::system_error& problem) {
        throw Failure(errSecInternalComponent,
                      std::string("The system has no thread for a biometric prompt (") + problem.what() +
                          "). End other processes and try again.");
    }
}

/// Runs a thread for each prompt, and waits for all of them when the process ends.
class Sensor {
  public:
    Sensor() {
        prepareCurrentDevice();  // the prompts that are waited for use it
    }

    void setAnswerer(PromptAnswerer answerer) {
        const std::lock_guard lock(mutex_);
        answerer_ = std::move(answerer);
    }

    PromptAnswer ask(const std::string& reason) {
        PromptAnswerer answerer;
        {
            const std::lock_guard lock(mutex_);
            answerer = answerer_;
        }
        return answerer ? answerer(reason) : PromptAnswer::cancel;
    }

    /// As startThread.
    void run(std::function<void()> task) {
        const std::lock_guard lock(mutex_);
        prompts_.remove_if([](const std::future<void>& prompt) {
            return prompt.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        });
        std::list<std::future<void>> added(1);
        added.front() = startThread(std::move(task));
        prompts_.splice(prompts_.end(), added);  // which throws nothing
    }

  private:
    std::mutex mutex_;
    PromptAnswerer answerer_;
    std::list<std::future<void>> prompts_;  // each of which is waited for when it goes; they go first
};

Sensor& sensor() {
    static Sensor instance;
    return instance;
}

/// The whole of one evaluation, on the prompt's thread. Returns whether the person was recognised.
bool evaluate(LAContext& context, LAPolicy policy, const std::string& reason, std::optional<NSError>* error) {
    return canEvaluatePolicy(context, policy, error) &&
           resultOf(error, [&] { return judge(*currentKeychain(), sensor().ask(reason), error); });
}

}  // namespace

LAContextRef makeLAContext() {
    return std::make_shared<LAContext>();
}

bool canEvaluatePolicy(LAContext& context, LAPolicy, std::optional<NSError>* error) {
    return resultOf(error, [&] {
        const DeviceState state = currentKeychain()->state();
        context.biometryType = state.biometry;
        std::optional<NSError> reason = obstacle(state);
        if (reason) {
            *error = std::move(reason);
            return false;
        }
        return true;
    });
}

void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply) {
    if (localizedReason.empty()) {
        fatalError("a biometric prompt must give a reason");
    }
    std::optional<NSError> error;
    const bool isRunning = resultOf(&error, [&] {
        sensor().run([=] {
            std::optional<NSError> failure;
            const bool success = evaluate(*context, policy, localizedReason, &failure);
            reply(success, std::move(failure));
        });
        return true;
    });
    if (!isRunning) {
        reply(false, std::move(error));
    }
}

LABiometryType biometryType(const LAContext& context) {
    return context.biometryType;
}

void Desktop::answerPromptsWith(PromptAnswerer answerer) {
    sensor().setAnswerer(std::move(answerer));
}

}  // namespace KavrelCrypto
