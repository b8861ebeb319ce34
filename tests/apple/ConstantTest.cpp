// Every name that the component uses is the framework's constant of that name.

#include <Security/Security.h>
#include <gtest/gtest.h>

#include "devices/apple/CoreFoundation.hpp"

namespace KavrelCrypto {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

TEST(AppleConstants, AreTheFrameworksOfTheSameNames) {
#define EXPECT_SAME(name) EXPECT_EQ(constantOf(name), ::name);
    STAND_IN_CONSTANTS(EXPECT_SAME)
    STAND_IN_ALGORITHMS(EXPECT_SAME)
#undef EXPECT_SAME
}

#pragma GCC diagnostic pop

}  // namespace
}  // namespace KavrelCrypto
