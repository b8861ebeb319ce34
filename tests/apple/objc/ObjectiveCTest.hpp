#pragma once

#import <Foundation/Foundation.h>

#include "apple/AppleDeviceTest.hpp"
#include "apple/objc/Bridging.hpp"
#include "apple/objc/Sensor.hpp"

extern "C" {
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
}

namespace KavrelCrypto {

/// A test of the Apple device's Objective-C++ over the stand-ins. No context outlives it.
class ObjectiveCTest : public AppleDeviceTest {
  protected:
    ObjectiveCTest() {
        AppleStandIns::acceptObjectiveC();
        AppleStandIns::startNewSensor();
    }

    ~ObjectiveCTest() override {
        AppleStandIns::startNewSensor();
        objc_autoreleasePoolPop(pool_);
        EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
    }

  private:
    void* const pool_ = objc_autoreleasePoolPush();
};

}  // namespace KavrelCrypto
