// Console lines and the main queue of the desktop device.

#include <algorithm>
#include <gmock/gmock.h>
#include <sstream>
#include <thread>

#include "devices/desktop/MainQueue.hpp"
#include "platform/Dispatch.hpp"
#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

namespace KavrelCrypto {
namespace {

TEST(Console, WritesALineAndItsLineFeedAtOnce) {
    testing::internal::CaptureStdout();
    print("🔑 line");
    print("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "🔑 line\n\n");
}

TEST(Console, DoesNotMixTheLinesOfSeveralThreads) {
    const TemporaryFolder folder;
    const Outcome outcome = Worker({"print", folder.path(), "8", "500"}).finish();
    std::istringstream lines(outcome.output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line, std::string(500, line.at(0)));
    }
    EXPECT_EQ(count, 8 * 500);
}

TEST(MainQueue, RunsTasksInOrderOnTheCallingThread) {
    std::vector<int> ran;
    for (int i = 0; i < 3; ++i) {
        dispatchAsyncMain([&ran, i, self = std::this_thread::get_id()] {
            EXPECT_EQ(std::this_thread::get_id(), self);
            ran.push_back(i);
        });
    }
    EXPECT_TRUE(ran.empty());
    Desktop::runMainQueueUntil([&] { return ran.size() == 3; });
    EXPECT_THAT(ran, testing::ElementsAre(0, 1, 2));
}

TEST(MainQueue, LeavesTasksForLaterOnceAllIsDone) {
    int ran = 0;
    dispatchAsyncMain([&ran] { dispatchAsyncMain([&ran] { ++ran; }); });  // one of them by a task
    dispatchAsyncMain([&ran] { ++ran; });
    for (int wanted = 0; wanted <= 2; ++wanted) {
        Desktop::runMainQueueUntil([&] { return ran == wanted; });
        EXPECT_EQ(ran, wanted);
    }
}

TEST(MainQueue, WaitsForTasksOfOtherThreads) {
    int ran = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int task = 0; task < 100; ++task) {
                dispatchAsyncMain([&ran] { ++ran; });
            }
        });
    }
    Desktop::runMainQueueUntil([&] { return ran == 400; });
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(MainQueue, LetsGoOfATaskOnceItHasRun) {
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> observed = held;
    bool isDone = false;
    dispatchAsyncMain([&isDone, held = std::move(held)] { isDone = held != nullptr; });
    Desktop::runMainQueueUntil([&] { return isDone; });
    EXPECT_TRUE(observed.expired());
}

}  // namespace
}  // namespace KavrelCrypto
