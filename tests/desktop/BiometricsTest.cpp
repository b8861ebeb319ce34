// The simulated sensor: what it says of itself, how its prompts end, and when it locks itself out.

#include <cstdlib>
#include <future>
#include <gmock/gmock.h>
#include <iostream>
#include <thread>

#include "devices/desktop/FolderLock.hpp"
#include "devices/desktop/Sensor.hpp"
#include "platform/Foundation.hpp"
#include "tests/desktop/SystemTrouble.hpp"
#include "tests/desktop/TestDevice.hpp"

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

    [[nodiscard]] std::int64_t code() const {
        return error ? error->code : 0;
    }
};

Reply prompt() {
    std::promise<Reply> promise;
    evaluatePolicy(makeLAContext(), biometrics, "a reason", [&](bool success, std::optional<NSError> error) {
        promise.set_value({success, std::move(error)});
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
    std::optional<Desktop::FolderLock> held;
    held.emplace(Desktop::openFolder(device.folder()), std::chrono::seconds(0));
    std::future<Reply> reply =
        std::async(std::launch::async, [] { return promptAnswered(PromptAnswer::match); });
    waitForWaiters(device.folder(), 1);
    device.execute("UPDATE state SET lockedOut = 1, failedPrompts = 5");
    held.reset();
    EXPECT_EQ(reply.get().code(), LAErrorBiometryLockout);
    EXPECT_EQ(Desktop::deviceState(), (DeviceState{.lockedOut = true, .failedPrompts = 5}));
}

TEST_F(Biometrics, CannotBeInAnImpossibleState) {
    for (const DeviceState& state :
         {DeviceState{.biometry = LABiometryType(3)}, DeviceState{.firstUnlock = false},
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

// Without a device of the fixture's, which the processes that these cases start could not clean up.
class BiometricPrompt : public testing::Test {
  protected:
    BiometricPrompt() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
};

TEST_F(BiometricPrompt, StopsTheProcessWhenItHasNoReason) {
    EXPECT_DEATH(evaluatePolicy(makeLAContext(), biometrics, "", [](bool, const std::optional<NSError>&) {}),
                 "a biometric prompt must give a reason");
}

/// Ends the process while a prompt is open. The answer must find everything that it needs.
[[noreturn]] void endDuringAPrompt() {
    static const TemporaryFolder folder;
    Desktop::openDevice(folder.path());
    Desktop::answerPromptsWith([](const std::string&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        return PromptAnswer::noMatch;
    });
    evaluatePolicy(makeLAContext(), biometrics, "a reason", [](bool, const std::optional<NSError>& error) {
        std::cerr << "answered " << error.value().code;
    });
    std::exit(0);
}

TEST_F(BiometricPrompt, IsAnsweredWhenItIsOpenAsTheProcessEnds) {
    EXPECT_EXIT(endDuringAPrompt(), testing::ExitedWithCode(0), "answered -1");
}

TEST_F(Biometrics, FailAPromptForWhichThereIsNoThread) {
    testing::internal::CaptureStderr();
    const SystemTrouble trouble = withoutThreads();
    EXPECT_EQ(prompt().code(), -2070);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("no thread for a biometric prompt"));
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
