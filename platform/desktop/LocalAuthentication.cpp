#include "platform/LocalAuthentication.hpp"

#include <algorithm>
#include <atomic>
#include <list>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/desktop/CurrentDevice.hpp"
#include "platform/desktop/Failure.hpp"
#include "platform/desktop/Sensor.hpp"

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

/// Why the sensor cannot be used; absent when it can.
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

/// Forgets the failures before a match. Returns an error if the sensor can no longer be used: other prompts
/// may have locked it out since this one was shown.
std::optional<NSError> recognise(Keychain& keychain) {
    const DeviceState state = keychain.state();
    std::optional<NSError> error = obstacle(state);
    if (!error && state.failedPrompts != 0) {  // most often there is nothing to forget, and no write
        keychain.changeState([&](DeviceState& present) {
            error = obstacle(present);
            present.failedPrompts = error ? present.failedPrompts : 0;
        });
    }
    return error;
}

/// Counts the answer to a prompt and tells what it means; absent when the person was recognised.
std::optional<NSError> outcome(Keychain& keychain, PromptAnswer answer) {
    switch (answer) {
        case PromptAnswer::match:
            return recognise(keychain);
        case PromptAnswer::noMatch:
            keychain.changeState(countFailure);
            return authenticationError(LAErrorAuthenticationFailed, "Application retry limit exceeded.");
        case PromptAnswer::cancel:
            break;
    }
    return authenticationError(LAErrorUserCancel, "Canceled by user.");
}

/// Runs one thread for each prompt and waits for them all when the process ends.
class Sensor {
  public:
    Sensor() {
        prepareCurrentDevice();  // the prompts that the destructor waits for use it
    }
    Sensor(const Sensor&) = delete;
    Sensor& operator=(const Sensor&) = delete;
    ~Sensor() {
        for (Prompt& prompt : prompts_) {
            prompt.thread.join();
        }
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

    void run(std::function<void()> task) {
        const std::lock_guard lock(mutex_);
        joinFinished();
        Prompt& prompt = prompts_.emplace_back();
        prompt.thread = std::thread([&prompt, task = std::move(task)]() mutable {
            task();
            task = nullptr;  // what it holds goes before the thread counts as finished
            prompt.isFinished = true;
        });
    }

  private:
    struct Prompt {
        std::atomic<bool> isFinished = false;
        std::thread thread;
    };

    void joinFinished() {
        prompts_.remove_if([](Prompt& prompt) {
            const bool isFinished = prompt.isFinished;
            if (isFinished) {
                prompt.thread.join();
            }
            return isFinished;
        });
    }

    std::mutex mutex_;
    PromptAnswerer answerer_;
    std::list<Prompt> prompts_;
};

Sensor& sensor() {
    static Sensor instance;
    return instance;
}

/// The whole of one evaluation, on the sensor's thread; absent when the person was recognised.
std::optional<NSError> evaluated(LAContext& context, LAPolicy policy, const std::string& reason) {
    std::optional<NSError> error;
    if (!canEvaluatePolicy(context, policy, &error)) {
        return error;
    }
    try {
        return outcome(*currentKeychain(), sensor().ask(reason));
    } catch (const DeviceError& failure) {
        return reported(failure);
    }
}

}  // namespace

LAContextRef makeLAContext() {
    return std::make_shared<LAContext>();
}

bool canEvaluatePolicy(LAContext& context, LAPolicy, std::optional<NSError>* error) {
    try {
        const DeviceState state = currentKeychain()->state();
        context.biometryType = state.biometry;
        std::optional<NSError> reason = obstacle(state);
        if (reason) {
            *error = std::move(reason);
            return false;
        }
        return true;
    } catch (const DeviceError& failure) {
        *error = reported(failure);
        return false;
    }
}

void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply) {
    if (localizedReason.empty()) {
        fatalError("a biometric prompt must give a reason");
    }
    sensor().run([context, policy, localizedReason, reply = std::move(reply)] {
        std::optional<NSError> error = evaluated(*context, policy, localizedReason);
        const bool success = !error;
        reply(success, std::move(error));
    });
}

LABiometryType biometryType(const LAContext& context) {
    return context.biometryType;
}

void Desktop::answerPromptsWith(PromptAnswerer answerer) {
    sensor().setAnswerer(std::move(answerer));
}

}  // namespace KavrelCrypto
