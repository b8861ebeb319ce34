// "signDigest": which thread finishes the call.

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

using DeviceUnderTest::PromptAnswer;

/// A call of "signDigest" that was begun on a thread other than the main one.
struct BegunElsewhere {
    TestCallRef call;
    std::thread::id thread;
    std::size_t timesFinishedOnReturn;
};

BegunElsewhere beginElsewhere(const std::string& nationalCode) {
    BegunElsewhere begun;
    std::thread([&] {
        begun.call = begin("signDigest", digestFor(nationalCode, "AAAA"));
        begun.thread = std::this_thread::get_id();
        begun.timesFinishedOnReturn = begun.call->timesFinished();
    }).join();
    return begun;
}

class PluginSignDigestThreads : public WithSaraUntouched {
  protected:
    /// The outcome of a call that was begun elsewhere. It is finished on this thread, after it returned.
    static Outcome outcomeHere(const std::string& nationalCode) {
        const BegunElsewhere begun = beginElsewhere(nationalCode);
        EXPECT_EQ(begun.timesFinishedOnReturn, 0U);
        finish({begun.call});
        EXPECT_EQ(begun.call->finishedOn, std::this_thread::get_id());
        return outcomeOf(*begun.call);
    }

    /// The outcome of a call that was finished on the thread that began it, before it returned.
    static Outcome outcomeThere() {
        const BegunElsewhere begun = beginElsewhere(sara);
        EXPECT_EQ(begun.timesFinishedOnReturn, 1U);
        EXPECT_EQ(begun.call->finishedOn, begun.thread);
        return outcomeOf(*begun.call);
    }
};

TEST_F(PluginSignDigestThreads, TheMainThreadFinishesACallWhosePromptWasAnswered) {
    EXPECT_EQ(text(outcomeHere(sara), "algo"), "RSA_SHA256");
    EXPECT_EQ(outcomeHere("nobody"), rejected("sign_failed"));
    for (const PromptAnswer answer : {PromptAnswer::cancel, PromptAnswer::noMatch}) {
        DeviceUnderTest::answerPrompts(answer);
        EXPECT_EQ(outcomeHere(sara), rejected("sign_failed"));
    }
}

TEST_F(PluginSignDigestThreads, TheCallersThreadFinishesACallThatCannotPrompt) {
    DeviceUnderTest::setBiometrics(LABiometryType::faceID, false, false);
    EXPECT_EQ(outcomeThere(), rejected("sign_failed"));
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, true, true);
    EXPECT_EQ(outcomeThere(), rejected("sign_failed"));
    DeviceUnderTest::setBiometrics(LABiometryType::none, false, false);
    EXPECT_EQ(outcomeThere(), rejected("sign_failed"));
}

TEST_F(PluginSignDigestThreads, AFinishedCallIsReleased) {
    const TestCallRef call = begin("signDigest", digestFor(sara, "AAAA"));
    const std::weak_ptr<TestCall> watched = call;
    finish({call});
    // The sensor's thread may take a moment to release what it has answered.
    for (int i = 0; i < 1000 && watched.use_count() > 1; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(watched.use_count(), 1);
}

}  // namespace
}  // namespace KavrelCrypto
