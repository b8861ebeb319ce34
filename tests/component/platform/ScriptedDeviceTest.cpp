#include <gmock/gmock.h>

#include "tests/scripted/ScriptedDevice.hpp"

namespace KavrelCrypto {
namespace {

using testing::_;
using testing::IsNull;

TEST(ScriptedDevice, GivesAnItemBackWhereAResultIsWanted) {
    ScriptedDevice device;
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(Bytes{1}));
    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching({}, &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult(Bytes{1}));
}

TEST(ScriptedDevice, GivesOnlyTheStatusWhereNoResultIsWanted) {
    ScriptedDevice device;
    EXPECT_CALL(device, SecItemCopyMatching(_, IsNull())).WillOnce(givesBack(Bytes{1}));
    EXPECT_EQ(SecItemCopyMatching({}, nullptr), errSecSuccess);
    EXPECT_CALL(device, SecItemAdd(_, IsNull())).WillOnce(givesBack(Bytes{1}));
    EXPECT_EQ(SecItemAdd({}, nullptr), errSecSuccess);
}

}  // namespace
}  // namespace KavrelCrypto
