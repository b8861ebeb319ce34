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

/// What the prompts showed. They are answered on threads of the sensor's own, even while the process ends, so
/// this is never destroyed.
struct Prompts {
    std::mutex mutex;
    std::vector<std::string> reasons;
};
Prompts& prompts = *new Prompts;

}  // namespace

void startNew() {
    static const TemporaryFolder folder;
    Desktop::openDevice(folder.path());
    Desktop::resetDevice();
    answerPrompts(PromptAnswer::cancel);
    const std::lock_guard lock(prompts.mutex);
    prompts.reasons.clear();
}

void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut) {
    Desktop::DeviceState state = Desktop::deviceState();
    state.biometry = kind;
    state.enrolled = enrolled;
    state.lockedOut = lockedOut;
    Desktop::setDeviceState(state);
}

void answerPrompts(PromptAnswer answer) {
    // The two name the same answers in the same order.
    Desktop::answerPromptsWith([answer = static_cast<Desktop::PromptAnswer>(answer)](const auto& reason) {
        const std::lock_guard lock(prompts.mutex);
        prompts.reasons.push_back(reason);
        return answer;
    });
}

std::vector<std::string> promptsShown() {
    const std::lock_guard lock(prompts.mutex);
    return prompts.reasons;
}

}  // namespace KavrelCrypto::DeviceUnderTest

void KavrelCrypto::NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    Desktop::runMainQueueUntil(done);
}
