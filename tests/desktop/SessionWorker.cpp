// A process that calls the plugin's methods on a device, with others or until it is killed.
//
//   desktop_session_worker DEVICE SEED SECONDS PERSON…
//
// Without SECONDS (0) it goes on for ever, has the slot to itself, and writes each note of its session to
// standard error. With them it shares the slot, and writes the number of its calls at the end. A failure ends
// it.

#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/Session.hpp"

using namespace KavrelCrypto;

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // no worker outlives its test, however that ends
    testing::InitGoogleTest(&argc, argv);
    GTEST_FLAG_SET(throw_on_failure, true);
    const std::vector<std::string> words(argv + 1, argv + argc);
    const unsigned seed = static_cast<unsigned>(std::stoul(words.at(1)));
    const std::chrono::seconds duration(std::stoi(words.at(2)));
    const bool isEndless = duration == std::chrono::seconds(0);
    Desktop::openDevice(words.at(0));
    Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
    Session session({{words.begin() + 3, words.end()}, !isEndless, true, seed},
                    [&](const std::string& name, const std::string& value) {
                        if (isEndless) {
                            std::fprintf(stderr, "%s %s\n", name.c_str(), value.c_str());
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
    std::fprintf(stderr, "%u", calls);
    return 0;
}
