// The simulated sensor: what it says of itself, how its prompts end, and when it locks itself out.

#include <future>
#include <gmock/gmock.h>
#include <thread>

#include "devices/desktop/Sensor.hpp"
#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

namespace KavrelCrypto {
namespace {

using Desktop::DeviceState;
using Desktop::PromptAnswer;

constexpr LAPolicy biometrics = LAPolicy::deviceOwnerAuthenticationWithBiometrics;

struct Availability {
    bool isPossible;
    std::optional<NSError> error;
    LABiometryType type;
};

Availability availability() {
    const LAContextRef context = makeLAContext();
    Availability result{};
    result.isPossible = canEvaluatePolicy(*context, biometrics, &result.error);
    result.type = biometryType(*context);
    return result;
}

struct Reply {
    bool success;
    std::optional<NSError> error;
    std::thread::id thread;

    [[nodiscard]] std::int64_t code() const {
        return error ? error->code : 0;
    }
};

Reply prompt() {
    std::promise<Reply> promise;
    evaluatePolicy(makeLAContext(), biometrics, "a reason", [&](bool success, std::optional<NSError> error) {
        promise.set_value({success, std::move(error), std::this_thread::get_id()});
    });
    return promise.get_future().get();
}

Reply promptAnswered(PromptAnswer answer) {
    Desktop::answerPromptsWith([=](const std::string&) { return answer; });
    return prompt();
}

class Biometrics : public testing::Test {
  protected:
    Biometrics() {
        Desktop::answerPromptsWith(nullptr);
    }

    static void failPrompts(int count) {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(promptAnswered(PromptAnswer::noMatch).code(), -1);
        }
    }

    const TestDevice device;
};

TEST_F(Biometrics, OfANewDeviceArePossibleWithFaceID) {
    const Availability found = availability();
    EXPECT_TRUE(found.isPossible);
    EXPECT_EQ(found.error, std::nullopt);
    EXPECT_EQ(found.type, LABiometryType::faceID);
}

TEST_F(Biometrics, HaveNoKindBeforeTheyWereAskedFor) {
    EXPECT_EQ(biometryType(*makeLAContext()), LABiometryType::none);
}

struct Obstacle {
    DeviceState state;
    std::int64_t code;
    const char* description;
};

class UnavailableBiometrics : public Biometrics, public testing::WithParamInterface<Obstacle> {};

TEST_P(UnavailableBiometrics, SayWhyAndKeepTheirKind) {
    Desktop::setDeviceState(GetParam().state);
    const Availability found = availability();
    EXPECT_FALSE(found.isPossible);
    EXPECT_EQ(found.error.value().domain, "com.apple.LocalAuthentication");
    EXPECT_EQ(found.error.value().code, GetParam().code);
    EXPECT_EQ(found.error.value().localizedDescription(), GetParam().description);
    EXPECT_EQ(found.type, GetParam().state.biometry);
}

TEST_P(UnavailableBiometrics, FailAPromptWithoutShowingIt) {
    Desktop::setDeviceState(GetParam().state);
    bool isShown = false;
    Desktop::answerPromptsWith([&](const std::string&) {
        isShown = true;
        return PromptAnswer::match;
    });
    const Reply reply = prompt();
    EXPECT_FALSE(reply.success);
    EXPECT_EQ(reply.code(), GetParam().code);
    EXPECT_FALSE(isShown);
}

INSTANTIATE_TEST_SUITE_P(
    Obstacles, UnavailableBiometrics,
    testing::Values(Obstacle{{.biometry = LABiometryType::none, .enrolled = false, .lockedOut = true},
                             LAErrorBiometryNotAvailable,
                             "Biometry is not available on this device."},
                    Obstacle{{.biometry = LABiometryType::touchID, .enrolled = false, .lockedOut = true},
                             LAErrorBiometryNotEnrolled,
                             "No identities are enrolled."},
                    Obstacle{{.lockedOut = true}, LAErrorBiometryLockout, "Biometry is locked out."}));

TEST_F(Biometrics, ShowTheReasonAndAnswerOnAThreadOfTheirOwn) {
    std::string shown;
    std::thread::id answeredOn;
    Desktop::answerPromptsWith([&](const std::string& reason) {
        shown = reason;
        answeredOn = std::this_thread::get_id();
        return PromptAnswer::match;
    });
    const Reply reply = prompt();
    EXPECT_TRUE(reply.success);
    EXPECT_EQ(reply.error, std::nullopt);
    EXPECT_EQ(shown, "a reason");
    EXPECT_EQ(reply.thread, answeredOn);
    EXPECT_NE(reply.thread, std::this_thread::get_id());
}

TEST_F(Biometrics, SayWhyAPersonWasNotRecognised) {
    const Reply failed = promptAnswered(PromptAnswer::noMatch);
    EXPECT_FALSE(failed.success);
    EXPECT_EQ(failed.error.value().domain, "com.apple.LocalAuthentication");
    EXPECT_EQ(failed.code(), -1);
    EXPECT_EQ(failed.error.value().localizedDescription(), "Application retry limit exceeded.");
    const Reply cancelled = promptAnswered(PromptAnswer::cancel);
    EXPECT_FALSE(cancelled.success);
    EXPECT_EQ(cancelled.code(), -2);
    EXPECT_EQ(cancelled.error.value().localizedDescription(), "Canceled by user.");
}

TEST_F(Biometrics, AreCancelledWhereNobodyAnswers) {
    EXPECT_EQ(prompt().code(), -2);
}

TEST_F(Biometrics, LockThemselvesOutAfterFiveFailuresInARow) {
    failPrompts(4);
    EXPECT_FALSE(Desktop::deviceState().lockedOut);
    failPrompts(1);
    EXPECT_TRUE(Desktop::deviceState().lockedOut);
    EXPECT_EQ(promptAnswered(PromptAnswer::match).code(), LAErrorBiometryLockout);
}

TEST_F(Biometrics, CountOnWhenTheDeviceIsOpenedAgain) {
    failPrompts(4);
    device.reopen();
    failPrompts(1);
    EXPECT_TRUE(Desktop::deviceState().lockedOut);
}

TEST_F(Biometrics, ForgetFailuresOnceAPersonWasRecognised) {
    failPrompts(4);
    promptAnswered(PromptAnswer::match);
    failPrompts(4);
    EXPECT_FALSE(Desktop::deviceState().lockedOut);
}

TEST_F(Biometrics, CountACancelledPromptNeitherWay) {
    failPrompts(4);
    promptAnswered(PromptAnswer::cancel);
    EXPECT_FALSE(Desktop::deviceState().lockedOut);
    failPrompts(1);
    EXPECT_TRUE(Desktop::deviceState().lockedOut);
}

TEST_F(Biometrics, StayLockedOutWhenAPromptThatWasOpenFails) {
    Desktop::answerPromptsWith([](const std::string&) {
        Desktop::setDeviceState({.lockedOut = true});
        return PromptAnswer::noMatch;
    });
    EXPECT_EQ(prompt().code(), -1);
    EXPECT_TRUE(Desktop::deviceState().lockedOut);
}

TEST_F(Biometrics, MatchNobodyAfterALockoutThatOthersCaused) {
    for (const std::int64_t failedPrompts : {5, 0}) {
        const DeviceState lockedOut{.lockedOut = true, .failedPrompts = failedPrompts};
        Desktop::setDeviceState({});
        Desktop::answerPromptsWith([&](const std::string&) {
            Desktop::setDeviceState(lockedOut);
            return PromptAnswer::match;
        });
        const Reply reply = prompt();
        EXPECT_FALSE(reply.success);
        EXPECT_EQ(reply.code(), LAErrorBiometryLockout);
        EXPECT_EQ(Desktop::deviceState(), lockedOut);
    }
}

TEST_F(Biometrics, CountNoFurtherThanToTheLockout) {
    failPrompts(5);
    Desktop::answerPromptsWith([](const std::string&) {
        Desktop::setDeviceState({.lockedOut = true, .failedPrompts = 5});
        return PromptAnswer::noMatch;
    });
    Desktop::setDeviceState({});
    EXPECT_EQ(prompt().code(), -1);
    EXPECT_EQ(Desktop::deviceState().failedPrompts, 5);
}

TEST_F(Biometrics, CannotBeInAnImpossibleState) {
    for (const DeviceState& state : {DeviceState{.biometry = LABiometryType(3)},
                                     DeviceState{.failedPrompts = -1}, DeviceState{.failedPrompts = 6}}) {
        EXPECT_THROW(Desktop::setDeviceState(state), Desktop::DeviceError);
    }
    EXPECT_EQ(Desktop::deviceState(), DeviceState());
}

TEST_F(Biometrics, MayBeOfEachKind) {
    for (const LABiometryType kind :
         {LABiometryType::none, LABiometryType::touchID, LABiometryType::faceID, LABiometryType::opticID}) {
        Desktop::setDeviceState({.biometry = kind});
        EXPECT_EQ(availability().type, kind);
    }
}

TEST_F(Biometrics, ForgetFailuresWhenTheLockoutIsLifted) {
    failPrompts(5);
    Desktop::setDeviceState({.lockedOut = false});
    failPrompts(4);
    EXPECT_FALSE(Desktop::deviceState().lockedOut);
}

TEST_F(Biometrics, AnswerManyPromptsAtOnce) {
    Desktop::answerPromptsWith([](const std::string&) { return PromptAnswer::match; });
    std::vector<std::future<Reply>> replies;
    for (int i = 0; i < 20; ++i) {
        replies.push_back(std::async(std::launch::async, prompt));
    }
    for (std::future<Reply>& reply : replies) {
        EXPECT_TRUE(reply.get().success);
    }
}

TEST_F(Biometrics, KeepTheContextUntilTheReply) {
    LAContextRef context = makeLAContext();
    const std::weak_ptr<LAContext> observed = context;
    std::promise<void> mayAnswer;
    Desktop::answerPromptsWith([&](const std::string&) {
        mayAnswer.get_future().wait();
        return PromptAnswer::match;
    });
    std::promise<bool> isKept;
    evaluatePolicy(context, biometrics, "a reason",
                   [&](bool, const std::optional<NSError>&) { isKept.set_value(!observed.expired()); });
    context.reset();
    mayAnswer.set_value();
    EXPECT_TRUE(isKept.get_future().get());
}

// Without a device: the process that is stopped could not clean up after it.
TEST(BiometricPrompt, StopsTheProcessWhenItHasNoReason) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(evaluatePolicy(makeLAContext(), biometrics, "", [](bool, const std::optional<NSError>&) {}),
                 "a biometric prompt must give a reason");
}

TEST_F(Biometrics, AnswerAPromptThatIsOpenWhenTheProcessEnds) {
    const Outcome outcome = Worker({"prompt", device.folder()}).finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "answered -1\n");
}

TEST_F(Biometrics, FailAPromptForWhichThereIsNoThread) {
    const TemporaryFolder folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
    const Outcome outcome =
        Worker({"--as-nobody", "--no-threads", "prompt", folder.path() / "device"}).finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, testing::AllOf(testing::HasSubstr("no thread for a biometric prompt"),
                                               testing::EndsWith("answered -2070\n")));
}

TEST_F(Biometrics, SayThatTheDeviceCannotBeReadWhenItCannot) {
    device.execute("DROP TABLE state");
    testing::internal::CaptureStderr();
    const Availability found = availability();
    EXPECT_FALSE(found.isPossible);
    EXPECT_EQ(found.error.value().code, -36);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(device.file().string()));
}

}  // namespace
}  // namespace KavrelCrypto
