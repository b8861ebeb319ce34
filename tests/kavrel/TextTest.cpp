#include <gtest/gtest.h>

#include "tools/kavrel/Text.hpp"

namespace KavrelCrypto::Host {
namespace {

TEST(Folded, BreaksALineAfterItsLastCommaThatFits) {
    EXPECT_EQ(folded("one,two,three", 13, "  "), "one,two,three");
    EXPECT_EQ(folded("one,two,three", 12, "  "), "one,two,\n  three");
    EXPECT_EQ(folded("one, two, three", 8, "  "), "one,\n  two,\n  three");
    EXPECT_EQ(folded("one,two", 2, ""), "one,two") << "there is no comma to break after";
}

}  // namespace
}  // namespace KavrelCrypto::Host
