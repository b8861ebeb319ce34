// The main queue and the console of the Apple device.

#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

#include "apple/AppleDeviceTest.hpp"
#include "platform/Dispatch.hpp"
#include "platform/Foundation.hpp"

namespace KavrelCrypto {
namespace {

using AppleMainQueue = AppleDeviceTest;
using AppleConsole = AppleDeviceTest;

TEST_F(AppleMainQueue, RunsTasksInTheOrderPosted) {
    std::vector<int> ran;
    for (int task = 0; task < 3; ++task) {
        dispatchAsyncMain([&, task] { ran.push_back(task); });
    }
    EXPECT_TRUE(ran.empty());

    AppleStandIns::runMainQueueUntil([&] { return ran.size() == 3; });
    EXPECT_EQ(ran, (std::vector{0, 1, 2}));
}

TEST_F(AppleMainQueue, TakesTasksFromOtherThreads) {
    std::thread::id ranOn;
    std::thread other([&] { dispatchAsyncMain([&] { ranOn = std::this_thread::get_id(); }); });

    AppleStandIns::runMainQueueUntil([&] { return ranOn != std::thread::id(); });
    other.join();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(AppleMainQueue, LetsATaskGoOnceItHasRun) {
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> observer = held;
    dispatchAsyncMain([held = std::move(held)] { ++*held; });
    EXPECT_FALSE(observer.expired());

    bool ran = false;
    dispatchAsyncMain([&] { ran = true; });
    AppleStandIns::runMainQueueUntil([&] { return ran; });
    EXPECT_TRUE(observer.expired());
}

TEST_F(AppleConsole, PrintsLinesOnStandardOutput) {
    testing::internal::CaptureStdout();
    print("❌ one");
    print("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "❌ one\n\n");
}

}  // namespace
}  // namespace KavrelCrypto
