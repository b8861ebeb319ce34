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

    const TestDevice device;
};

TEST_F(Biometrics, OfANewDeviceArePossibleWithFaceID) {
    EXPECT_EQ(biometryType(*makeLAContext()), LABiometryType::none) << "before they were asked for";
    const Availability found = availability();
    EXPECT_TRUE(found.isPossible);
    EXPECT_EQ(found.error, std::nullopt);
    EXPECT_EQ(found.type, LABiometryType::faceID);
}

struct Obstacle {
    DeviceState state;
    std::int64_t code;
    const char* description;
};

class UnavailableBiometrics : public Biometrics, public testing::WithParamInterface<Obstacle> {};

TEST_P(UnavailableBiometrics, SayWhyAndFailAPromptWithoutShowingIt) {
    Desktop::setDeviceState(GetParam().state);
    const Availability found = availability();
    EXPECT_FALSE(found.isPossible);
    EXPECT_EQ(found.error.value().domain, "com.apple.LocalAuthentication");
    EXPECT_EQ(found.error.value().code, GetParam().code);
    EXPECT_EQ(found.error.value().localizedDescription(), GetParam().description);
    EXPECT_EQ(found.type, GetParam().state.biometry);
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
                    Obstacle{{.biometry = LABiometryType::opticID, .lockedOut = true},
                             LAErrorBiometryLockout,
                             "Biometry is locked out."}));

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

/// What happens one after the other: a prompt without a match (n), with one (m) or cancelled (c), and the
/// device opened again (o).
struct History {
    const char* events;
    std::int64_t failedPrompts;
};

class BiometricFailures : public Biometrics, public testing::WithParamInterface<History> {};

TEST_P(BiometricFailures, AreCountedInARowAndTheFifthLocksTheSensorOut) {
    for (const char event : std::string(GetParam().events)) {
        if (event == 'n') {
            EXPECT_EQ(promptAnswered(PromptAnswer::noMatch).code(), -1);
        } else if (event == 'm') {
            EXPECT_EQ(promptAnswered(PromptAnswer::match).code(), 0);
        } else if (event == 'c') {
            EXPECT_EQ(promptAnswered(PromptAnswer::cancel).code(), -2);
        } else {
            device.reopen();
        }
    }
    const bool isLockedOut = GetParam().failedPrompts == 5;
    EXPECT_EQ(Desktop::deviceState(),
              (DeviceState{.lockedOut = isLockedOut, .failedPrompts = GetParam().failedPrompts}));
    EXPECT_EQ(promptAnswered(PromptAnswer::match).code(), isLockedOut ? LAErrorBiometryLockout : 0);
}

INSTANTIATE_TEST_SUITE_P(Histories, BiometricFailures,
                         testing::Values(History{"nnnn", 4}, History{"nnnnn", 5}, History{"nm", 0},
                                         History{"nnnnmnnnn", 4}, History{"nnnncn", 5},
                                         History{"nnnnon", 5}));

/// Something that others do to the state while a prompt is open, and what comes of the answer.
struct Meanwhile {
    DeviceState before;
    DeviceState changed;
    PromptAnswer answer;
    std::int64_t code;
    DeviceState after;
};

TEST_F(Biometrics, MayChangeWhileAPromptIsOpen) {
    const DeviceState fifthFailure{.lockedOut = true, .failedPrompts = 5};
    for (const Meanwhile& row :
         {Meanwhile{
              {}, {.lockedOut = true}, PromptAnswer::noMatch, -1, {.lockedOut = true, .failedPrompts = 1}},
          Meanwhile{
              {}, {.lockedOut = true}, PromptAnswer::match, LAErrorBiometryLockout, {.lockedOut = true}},
          Meanwhile{{}, fifthFailure, PromptAnswer::match, LAErrorBiometryLockout, fifthFailure},
          Meanwhile{{.failedPrompts = 4}, fifthFailure, PromptAnswer::noMatch, -1, fifthFailure}}) {
        Desktop::setDeviceState(row.before);
        Desktop::answerPromptsWith([&](const std::string&) {
            Desktop::setDeviceState(row.changed);
            return row.answer;
        });
        const Reply reply = prompt();
        EXPECT_FALSE(reply.success);
        EXPECT_EQ(reply.code(), row.code);
        EXPECT_EQ(Desktop::deviceState(), row.after);
    }
}

// Another process locks the sensor out after a match, while the device waits for its turn to forget the
// failures before it.
TEST_F(Biometrics, MatchNobodyOnceTheyAreLockedOut) {
    Desktop::setDeviceState({.failedPrompts = 4});
    std::optional<HeldFolder> held(device.folder());
    std::future<Reply> reply =
        std::async(std::launch::async, [] { return promptAnswered(PromptAnswer::match); });
    held->waitForOthers(1);
    device.execute("UPDATE state SET lockedOut = 1, failedPrompts = 5");
    held.reset();
    EXPECT_EQ(reply.get().code(), LAErrorBiometryLockout);
    EXPECT_EQ(Desktop::deviceState(), (DeviceState{.lockedOut = true, .failedPrompts = 5}));
}

TEST_F(Biometrics, CannotBeInAnImpossibleState) {
    for (const DeviceState& state : {DeviceState{.biometry = LABiometryType(3)},
                                     DeviceState{.failedPrompts = -1}, DeviceState{.failedPrompts = 6}}) {
        EXPECT_THROW(Desktop::setDeviceState(state), Desktop::DeviceError);
    }
    EXPECT_EQ(Desktop::deviceState(), DeviceState());
}

TEST_F(Biometrics, KeepTheContextUntilTheReplyAndNoLonger) {
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
    for (int i = 0; i < 10'000 && !observed.expired(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(observed.expired());
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
