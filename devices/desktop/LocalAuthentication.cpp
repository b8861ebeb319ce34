#include "platform/LocalAuthentication.hpp"

#include <algorithm>
#include <atomic>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "devices/desktop/Failure.hpp"
#include "devices/desktop/Keychain.hpp"
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

template <typename Task>
std::thread startThread(Task task) {
    try {
        return std::thread(std::move(task));
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

    /// Runs `task` on a thread of its own. Throws a Failure if the system has no thread for it.
    void run(std::function<void()> task) {
        const std::lock_guard lock(mutex_);
        joinFinished();
        std::list<Prompt> added(1);
        Prompt& prompt = added.front();
        prompt.thread = startThread([&prompt, task = std::move(task)]() mutable {
            task();
            task = nullptr;  // what it holds goes before the thread counts as finished
            prompt.isFinished = true;
        });
        prompts_.splice(prompts_.end(), added);  // which throws nothing
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
