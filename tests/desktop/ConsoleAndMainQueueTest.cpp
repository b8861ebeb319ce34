// Console lines and the main queue of the desktop device.

#include <algorithm>
#include <gmock/gmock.h>
#include <sstream>
#include <thread>

#include "devices/desktop/MainQueue.hpp"
#include "platform/Dispatch.hpp"
#include "platform/Foundation.hpp"

namespace KavrelCrypto {
namespace {

TEST(Console, WritesLinesOfAnyContentAtOnceAndMixesNone) {
    testing::internal::CaptureStdout();
    print("🔑 line");
    print("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "🔑 line\n\n");
    testing::internal::CaptureStdout();
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'i'; ++letter) {
        threads.emplace_back([letter] {
            for (int i = 0; i < 500; ++i) {
                print(std::string(500, letter));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::istringstream lines(testing::internal::GetCapturedStdout());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ(line, std::string(500, line.at(0)));
    }
    EXPECT_EQ(count, 8 * 500);
}

TEST(MainQueue, RunsTasksInOrderOnTheCallingThreadAndLeavesSomeForLaterOnceAllIsDone) {
    std::vector<int> ran;
    const auto task = [&ran](int number) {
        return [&ran, number, self = std::this_thread::get_id()] {
            EXPECT_EQ(std::this_thread::get_id(), self);
            ran.push_back(number);
        };
    };
    dispatchAsyncMain([&] { dispatchAsyncMain(task(2)); });
    dispatchAsyncMain(task(0));
    dispatchAsyncMain(task(1));
    for (std::size_t wanted = 0; wanted <= 3; ++wanted) {
        Desktop::runMainQueueUntil([&] { return ran.size() == wanted; });
        EXPECT_EQ(ran.size(), wanted);
    }
    EXPECT_THAT(ran, testing::ElementsAre(0, 1, 2));
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
