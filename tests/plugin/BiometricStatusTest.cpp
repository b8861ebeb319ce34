// "getBiometricStatus".

#include <gtest/gtest.h>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

constexpr std::int64_t none = 0;
constexpr std::int64_t touchID = 1;
constexpr std::int64_t faceID = 2;

Outcome status(bool enabled, const char* status, std::int64_t type) {
    return resolved({{"enabled", enabled}, {"status", status}, {"type", type}});
}

using PluginGetBiometricStatus = OnANewDevice;

TEST_F(PluginGetBiometricStatus, ASensorThatCanBeUsedIsEnabled) {
    DeviceUnderTest::setBiometrics(LABiometryType::faceID, true, false);
    EXPECT_EQ(call("getBiometricStatus", JSObject()), status(true, "BIOMETRIC_SUCCESS", faceID));
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, true, false);
    EXPECT_EQ(call("getBiometricStatus", JSObject()), status(true, "BIOMETRIC_SUCCESS", touchID));
}

TEST_F(PluginGetBiometricStatus, ASensorWithNobodyEnrolledIsNotEnabled) {
    DeviceUnderTest::setBiometrics(LABiometryType::faceID, false, false);
    EXPECT_EQ(call("getBiometricStatus", JSObject()), status(false, "BIOMETRIC_ERROR_NONE_ENROLLED", faceID));
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, false, false);
    EXPECT_EQ(call("getBiometricStatus", JSObject()),
              status(false, "BIOMETRIC_ERROR_NONE_ENROLLED", touchID));
}

TEST_F(PluginGetBiometricStatus, ASensorThatWasLockedByFailedAttemptsIsNotEnabled) {
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, true, true);
    EXPECT_EQ(call("getBiometricStatus", JSObject()), status(false, "BIOMETRIC_ERROR_LOCKOUT", touchID));
}

TEST_F(PluginGetBiometricStatus, ADeviceWithoutASensorHasNoHardwareAndNoKind) {
    DeviceUnderTest::setBiometrics(LABiometryType::none, false, false);
    EXPECT_EQ(call("getBiometricStatus", JSObject()), status(false, "BIOMETRIC_ERROR_NO_HARDWARE", none));
}

TEST_F(PluginGetBiometricStatus, ArgumentsAreNotLookedAt) {
    EXPECT_EQ(call("getBiometricStatus", std::nullopt), status(true, "BIOMETRIC_SUCCESS", faceID));
    EXPECT_EQ(call("getBiometricStatus", JSObject{{"nationalCode", std::int64_t{123}}}),
              status(true, "BIOMETRIC_SUCCESS", faceID));
}

}  // namespace
}  // namespace KavrelCrypto
