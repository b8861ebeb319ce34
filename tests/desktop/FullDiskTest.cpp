// A disk without room, or a limit for the size of files, while the desktop device stores items.

#include <gmock/gmock.h>

#include "tests/desktop/SystemTrouble.hpp"
#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

struct Lack {
    SystemTrouble (*ofRoom)();
    OSStatus status;
    const char* problem;
};

class FullDisk : public testing::TestWithParam<Lack> {
  protected:
    const TestDevice device;
};

TEST_P(FullDisk, IsToldWithTheWayOutAndTakesNothingFromWhatWasStored) {
    int made = 0;
    testing::internal::CaptureStderr();
    std::optional<NSError> error;
    {
        const SystemTrouble trouble = GetParam().ofRoom();
        while (makePair("p" + std::to_string(made), &error) != nullptr) {
            ++made;
        }
    }
    const std::string problem = device.file().string() + GetParam().problem;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "desktop device: " + problem + "\n");
    EXPECT_EQ(error.value().code, GetParam().status);
    EXPECT_EQ(error.value().localizedDescription(), problem);
    EXPECT_GT(made, 0);
    for (int i = 0; i < made; ++i) {
        EXPECT_TRUE(pairWorks("p" + std::to_string(i))) << i;
    }
    EXPECT_EQ(select(device.file(), "SELECT count(*) FROM items"), std::vector{std::to_string(2 * made)})
        << "a half was stored";
    EXPECT_EQ(select(device.file(), "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    EXPECT_NE(makePair("p"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FullDisk,
    testing::Values(Lack{[] { return withDiskFor(100'000); }, -34,
                         " cannot grow, because its disk is full (database or disk is full). Make room there "
                         "and try again."},
                    Lack{[] { return withFileLimit(100'000); }, -36,
                         " cannot be read or written (disk I/O error). Check the disk that it is on, and "
                         "your quota there."}));

}  // namespace
}  // namespace KavrelCrypto
