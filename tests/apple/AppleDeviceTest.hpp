#pragma once

#include <gtest/gtest.h>

#include "apple/standins/StandIns.hpp"

namespace KavrelCrypto {

/// A test of the Apple device over the stand-ins. Whatever it did, every reference that it got has been given
/// back when it ends.
class AppleDeviceTest : public testing::Test {
  protected:
    AppleDeviceTest() {
        AppleStandIns::startNew();
    }

    ~AppleDeviceTest() override {
        EXPECT_EQ(AppleStandIns::references(), referencesBefore_) << "references kept, or given back twice";
    }

  private:
    const long referencesBefore_ = AppleStandIns::references();
};

}  // namespace KavrelCrypto
