// Calls that stop the process.

#include <gtest/gtest.h>

#include "tests/plugin/People.hpp"

namespace KavrelCrypto {
namespace {

using PluginCreateCSRDeathTest = OnANewDevice;

TEST_F(PluginCreateCSRDeathTest, ACallWithoutAnArgumentMapStopsTheProcess) {
    EXPECT_DEATH(call("createCSR", std::nullopt), "a \"createCSR\" call must have an argument map");
}

}  // namespace
}  // namespace KavrelCrypto
