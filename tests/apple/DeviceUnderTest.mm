// The Apple device as the device under the tests of the plugin.

#include "tests/support/DeviceUnderTest.hpp"

#include <gtest/gtest.h>

#include "apple/standins/StandIns.hpp"
#include "tests/support/NativeDevice.hpp"

namespace KavrelCrypto {
namespace {

/// Whatever the tests did, every object that they made is gone in the end.
class Account final : public testing::Environment {
  public:
    void SetUp() override {
        before_ = AppleStandIns::objectsAlive();
    }

    void TearDown() override {
        AppleStandIns::startNew();
        EXPECT_EQ(AppleStandIns::objectsAlive(), before_);
        EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
    }

  private:
    long before_ = 0;
};

[[maybe_unused]] const auto* const account = testing::AddGlobalTestEnvironment(new Account);

}  // namespace

void DeviceUnderTest::startNew() {
    AppleStandIns::startNew();
}

void NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    @autoreleasepool {
        AppleStandIns::runMainQueueUntil(done);
    }
}

}  // namespace KavrelCrypto
