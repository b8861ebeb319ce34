// Eight processes and eight threads that call the plugin's methods on one device at once.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <thread>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/MainQueue.hpp"
#include "devices/desktop/Sensor.hpp"
#include "platform/Dispatch.hpp"
#include "tests/desktop/Session.hpp"
#include "tests/desktop/Worker.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace KavrelCrypto {
namespace {

constexpr int processes = 8;
constexpr int threads = 8;

/// $KAVREL_SOAK_SECONDS, or a few.
std::chrono::seconds wantedDuration() {
    const char* seconds = std::getenv("KAVREL_SOAK_SECONDS");
    return std::chrono::seconds(seconds == nullptr ? 3 : std::stoi(seconds));
}

/// Runs `work` with a number on each of the threads, and the main queue on this one until they have ended.
void onThreads(const std::function<void(int)>& work) {
    std::atomic<int> running = threads;
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i) {
        all.emplace_back([&, i] {
            work(i);
            --running;
            dispatchAsyncMain([] {});  // the queue looks whether there is anybody left after a task
        });
    }
    Desktop::runMainQueueUntil([&] { return running == 0; });
    for (std::thread& thread : all) {
        thread.join();
    }
}

TEST(Soak, EightProcessesAndEightThreadsShareADevice) {
    const TemporaryFolder folder;
    const std::filesystem::path device = folder.path() / "device";
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    const std::chrono::seconds duration = wantedDuration();

    std::vector<Worker> workers;
    for (int i = 0; i < processes; ++i) {
        const std::string number = std::to_string(i);
        workers.emplace_back(std::vector<std::string>{device, number, std::to_string(duration.count()),
                                                      "process " + number, "process " + number + " too"});
    }
    Desktop::openDevice(device);  // which the first of them makes
    std::atomic<long> calls = 0;
    std::vector<Acknowledged> acknowledged(threads);
    const auto end = std::chrono::steady_clock::now() + duration;
    onThreads([&](int i) {
        const std::string name = "thread " + std::to_string(i);
        Session session({{name, name + " too"}, true, false, static_cast<unsigned>(i)},
                        [](const std::string&, const std::string&) {});
        for (; std::chrono::steady_clock::now() < end; ++calls) {
            session.makeAny();
        }
        acknowledged[static_cast<std::size_t>(i)] = session.acknowledged();
    });
    for (const Acknowledged& each : acknowledged) {
        each.expectKept();
    }
    for (Worker& worker : workers) {
        const std::string output = worker.readAll();
        EXPECT_EQ(worker.wait(), 0);
        EXPECT_EQ(output.find_first_not_of("0123456789"), std::string::npos) << output;
        calls += std::atol(output.c_str());
    }
    std::cout << processes << " processes and " << threads << " threads made " << calls << " calls in "
              << duration.count() << " seconds.\n";
}

}  // namespace
}  // namespace KavrelCrypto
