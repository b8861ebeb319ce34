// The desktop device as the device under test, in a folder of its own that goes when the test program ends.

#include "tests/support/DeviceUnderTest.hpp"

#include <mutex>
#include <utility>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/MainQueue.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/support/NativeDevice.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace KavrelCrypto::DeviceUnderTest {
namespace {

/// What the prompts showed. They are answered on threads of the sensor's own.
class Prompts {
  public:
    void forget() {
        const std::lock_guard lock(mutex_);
        reasons_.clear();
    }
    void show(const std::string& reason) {
        const std::lock_guard lock(mutex_);
        reasons_.push_back(reason);
    }
    std::vector<std::string> reasons() {
        const std::lock_guard lock(mutex_);
        return reasons_;
    }

  private:
    std::mutex mutex_;
    std::vector<std::string> reasons_;
};

Prompts& prompts() {
    // Never destroyed: a prompt may still be answered while the process ends.
    static Prompts& instance = *new Prompts;
    return instance;
}

Desktop::PromptAnswer desktopAnswer(PromptAnswer answer) {
    switch (answer) {
        case PromptAnswer::match:
            return Desktop::PromptAnswer::match;
        case PromptAnswer::noMatch:
            return Desktop::PromptAnswer::noMatch;
        case PromptAnswer::cancel:
            break;
    }
    return Desktop::PromptAnswer::cancel;
}

}  // namespace

void startNew() {
    static const TemporaryFolder folder;
    Desktop::openDevice(folder.path());
    Desktop::resetDevice();
    answerPrompts(PromptAnswer::cancel);
    prompts().forget();
}

void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut) {
    Desktop::DeviceState state = Desktop::deviceState();
    state.biometry = kind;
    state.enrolled = enrolled;
    state.lockedOut = lockedOut;
    Desktop::setDeviceState(state);
}

void answerPrompts(PromptAnswer answer) {
    Desktop::answerPromptsWith([answer = desktopAnswer(answer)](const std::string& reason) {
        prompts().show(reason);
        return answer;
    });
}

std::vector<std::string> promptsShown() {
    return prompts().reasons();
}

}  // namespace KavrelCrypto::DeviceUnderTest

void KavrelCrypto::NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    Desktop::runMainQueueUntil(done);
}
