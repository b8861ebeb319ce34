// A process that is killed at any moment of calling the plugin's methods.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/Session.hpp"
#include "tests/desktop/Worker.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace KavrelCrypto {
namespace {

/// $KAVREL_KILLS, or a few.
int wantedKills() {
    const char* count = std::getenv("KAVREL_KILLS");
    return count == nullptr ? 20 : std::stoi(count);
}

/// $KAVREL_SEED, or any. It decides what the processes do, but not when the system lets them.
unsigned wantedSeed() {
    const char* seed = std::getenv("KAVREL_SEED");
    return seed == nullptr ? std::random_device{}() : static_cast<unsigned>(std::stoul(seed));
}

class Kills : public testing::Test {
  protected:
    Kills() {
        Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    }

    /// Notes what a worker had written when it was killed. Its last line may be cut.
    void note(const std::string& output) {
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line) && !lines.eof();) {
            const std::size_t blank = line.find(' ');
            acknowledged_.note(line.substr(0, blank), line.substr(blank + 1));
            ++notes_;
        }
    }

    /// Kills a worker and returns what it had written.
    static std::string outputUntilKilled(Worker& worker) {
        worker.kill();
        std::string output = worker.readAll();
        EXPECT_EQ(worker.wait(), SIGKILL) << "it had ended by itself: " << output;
        return output;
    }

    void expectKept(const std::filesystem::path& device) {
        Desktop::openDevice(device);
        acknowledged_.expectKept();
        for (const auto& entry : std::filesystem::directory_iterator(device)) {
            EXPECT_TRUE(entry.path().filename().string().starts_with("keychain.sqlite")) << entry.path();
        }
        Desktop::openDevice(folder_.path() / "elsewhere");
    }

    const TemporaryFolder folder_;
    Acknowledged acknowledged_;
    long notes_ = 0;
};

TEST_F(Kills, TakeNothingThatWasAcknowledged) {
    const std::filesystem::path device = folder_.path() / "device";
    const int kills = wantedKills();
    const unsigned seed = wantedSeed();
    std::cout << "KAVREL_SEED=" << seed << std::endl;
    std::mt19937 random(seed);
    for (int i = 1; i <= kills; ++i) {
        Worker worker({device, std::to_string(random()), "0", "Sara", "Omid", "Nima"});
        std::string output;
        for (unsigned long lines = 1 + random() % 40; lines > 0; --lines) {
            output += worker.readLine();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 10'000));
        output += outputUntilKilled(worker);
        note(output);
        expectKept(device);
        ASSERT_FALSE(HasFailure()) << "after kill " << i << " and these notes:\n" << output;
        if (i % 50 == 0) {
            std::cout << i << " kills" << std::endl;
        }
    }
    std::cout << "Killed " << kills << " processes among " << notes_
              << " notes of what they changed; everything acknowledged was there and usable.\n";
}

TEST_F(Kills, WhileTheDeviceIsMadeLeaveOneThatOpens) {
    std::mt19937 random(wantedSeed());
    for (int i = 0; i < 20; ++i) {
        const std::filesystem::path device = folder_.path() / std::to_string(i);
        Worker worker({device, "0", "0", "Sara"});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
        note(outputUntilKilled(worker));
        expectKept(device);
        acknowledged_ = {};
    }
}

}  // namespace
}  // namespace KavrelCrypto
