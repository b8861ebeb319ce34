#pragma once

#include <gtest/gtest.h>

#include "apple/standins/StandIns.hpp"

extern "C" {
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
}

namespace KavrelCrypto {

/// A test of the Apple device over the stand-ins. No object that was made for it outlives it.
class AppleDeviceTest : public testing::Test {
  protected:
    AppleDeviceTest() {
        AppleStandIns::startNew();
    }

    ~AppleDeviceTest() override {
        AppleStandIns::startNew();
        objc_autoreleasePoolPop(pool_);
        EXPECT_EQ(AppleStandIns::objectsAlive(), objectsBefore_) << "references kept, or given back twice";
        EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
    }

  private:
    const long objectsBefore_ = AppleStandIns::objectsAlive();
    void* const pool_ = objc_autoreleasePoolPush();
};

}  // namespace KavrelCrypto
