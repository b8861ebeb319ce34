// A process that calls the plugin's methods on a device, with others or until it is killed. It starts when
// its standard input ends.
//
//   desktop_session_worker DEVICE KEYS SEED SECONDS PERSON…
//
// Without SECONDS (0) it goes on for ever, has the slot to itself, and writes each note of its session to
// standard output. With them it shares the slot, and writes the number of its calls at the end. Failures go
// to standard output too, the console goes nowhere.

#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/Session.hpp"
#include "tests/desktop/StoredKeys.hpp"

using namespace KavrelCrypto;

namespace {

FILE* output = nullptr;

class WriteFailures : public testing::EmptyTestEventListener {
    void OnTestPartResult(const testing::TestPartResult& result) override {
        std::fprintf(output, "failure: %s\n", result.message());
        std::fflush(output);
    }
};

/// Turns away from standard output what is not for the one who waits for it.
void keepOutput() {
    output = ::fdopen(::dup(STDOUT_FILENO), "w");
    if (output == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::exit(2);
    }
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new WriteFailures);
}

}  // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // no worker outlives its test, however that ends
    testing::InitGoogleTest(&argc, argv);
    keepOutput();
    while (std::cin.get() != EOF) {
    }
    const std::vector<std::string> words(argv + 1, argv + argc);
    const unsigned seed = static_cast<unsigned>(std::stoul(words.at(2)));
    const std::chrono::seconds duration(std::stoi(words.at(3)));
    const bool isEndless = duration == std::chrono::seconds(0);
    StoredKeys::use(words.at(1), seed);
    Desktop::openDevice(words.at(0));
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    Session session({{words.begin() + 4, words.end()}, !isEndless, true, seed},
                    [&](const std::string& name, const std::string& value) {
                        if (isEndless) {
                            std::fprintf(output, "%s %s\n", name.c_str(), value.c_str());
                            std::fflush(output);
                        }
                    });
    const auto end = std::chrono::steady_clock::now() + duration;
    unsigned calls = 0;
    for (; isEndless || std::chrono::steady_clock::now() < end; ++calls) {
        session.makeAny();
        if (isEndless) {  // so that it is killed right after a call as often as during one
            std::this_thread::sleep_for(std::chrono::microseconds(seed * calls % 5'000));
        }
    }
    std::fprintf(output, "%u", calls);
    return 0;
}
