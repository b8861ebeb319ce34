// The Apple device as the device under the tests of the plugin.

#include "tests/support/DeviceUnderTest.hpp"

#import <Foundation/Foundation.h>

#include <gtest/gtest.h>

#include "apple/objc/Bridging.hpp"
#include "apple/objc/Sensor.hpp"
#include "apple/standins/StandIns.hpp"
#include "tests/support/NativeDevice.hpp"

namespace KavrelCrypto::DeviceUnderTest {
namespace {

/// Whatever the tests did, every reference that they got has been given back in the end.
class Account final : public testing::Environment {
  public:
    void SetUp() override {
        AppleStandIns::acceptObjectiveC();
        before_ = AppleStandIns::references();
    }

    void TearDown() override {
        AppleStandIns::startNewSensor();
        EXPECT_EQ(AppleStandIns::references(), before_);
        EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
    }

  private:
    long before_ = 0;
};

[[maybe_unused]] const auto* const account = testing::AddGlobalTestEnvironment(new Account);

}  // namespace

void startNew() {
    AppleStandIns::startNewSensor();
    AppleStandIns::startNew();
}

void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut) {
    AppleStandIns::setBiometrics(kind, enrolled, lockedOut);
}

void answerPrompts(PromptAnswer answer) {
    switch (answer) {
        case PromptAnswer::match:
            return AppleStandIns::answerPrompts(AppleStandIns::Answer::match);
        case PromptAnswer::noMatch:
            return AppleStandIns::answerPrompts(AppleStandIns::Answer::noMatch);
        case PromptAnswer::cancel:
            return AppleStandIns::answerPrompts(AppleStandIns::Answer::cancel);
    }
}

std::vector<std::string> promptsShown() {
    return AppleStandIns::promptsShown();
}

}  // namespace KavrelCrypto::DeviceUnderTest

void KavrelCrypto::NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    @autoreleasepool {
        AppleStandIns::runMainQueueUntil(done);
    }
}
