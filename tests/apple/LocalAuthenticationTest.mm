// LocalAuthentication on the Apple device.

#include <gtest/gtest.h>

#include <future>

// After the C++ library, which has a variable of the name of one of GNUstep's macros.
#import <Foundation/Foundation.h>

#include "apple/AppleDeviceTest.hpp"
#include "platform/LocalAuthentication.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

using DeviceUnderTest::setBiometrics;

constexpr LAPolicy biometrics = LAPolicy::deviceOwnerAuthenticationWithBiometrics;

class AppleLocalAuthentication : public AppleDeviceTest {
  protected:
    struct Outcome {
        bool success;
        std::optional<NSError> error;
    };

    /// Evaluates a context that only the device holds by the time that it answers.
    static Outcome evaluate() {
        std::promise<Outcome> outcome;
        evaluatePolicy(makeLAContext(), biometrics, "Show yourself",
                       [&](bool success, std::optional<NSError> error) {
                           outcome.set_value({success, std::move(error)});
                       });
        return outcome.get_future().get();
    }
};

TEST_F(AppleLocalAuthentication, SaysNoWithThePlatformsReason) {
    setBiometrics(LABiometryType::faceID, false, false);

    std::optional<NSError> error;
    EXPECT_FALSE(canEvaluatePolicy(*makeLAContext(), biometrics, &error));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain, "com.apple.LocalAuthentication");
    EXPECT_EQ(error->code, LAErrorBiometryNotEnrolled);
    EXPECT_EQ(error->localizedDescription(), "No identities are enrolled.");
    ::NSError* same =
        [::NSError errorWithDomain:@"com.apple.LocalAuthentication"
                              code:LAErrorBiometryNotEnrolled
                          userInfo:@{::NSLocalizedDescriptionKey : @"No identities are enrolled."}];
    EXPECT_EQ(error->description(), same.description.UTF8String);
}

TEST_F(AppleLocalAuthentication, SaysNoWithoutAReasonWhereThePlatformGivesNone) {
    AppleStandIns::refuseNext(nullptr);

    std::optional<NSError> error;
    EXPECT_FALSE(canEvaluatePolicy(*makeLAContext(), biometrics, &error));
    EXPECT_EQ(error, std::nullopt);
}

TEST_F(AppleLocalAuthentication, SaysWhyInEveryCharacterOfThePlatforms) {
    NSString* description = (__bridge_transfer NSString*)AppleStandIns::createString(u"\uFEFFno\xD83D");
    ::NSError* reason = [::NSError errorWithDomain:@"d"
                                              code:1
                                          userInfo:@{::NSLocalizedDescriptionKey : description}];
    AppleStandIns::refuseNext((__bridge CFTypeRef)reason);

    std::optional<NSError> error;
    canEvaluatePolicy(*makeLAContext(), biometrics, &error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->localizedDescription(), "\uFEFFno\uFFFD");
}

TEST_F(AppleLocalAuthentication, KnowsTheSensorOnceItWasAsked) {
    setBiometrics(LABiometryType::touchID, true, false);
    const LAContextRef context = makeLAContext();
    EXPECT_EQ(biometryType(*context), LABiometryType::none);

    std::optional<NSError> error;
    canEvaluatePolicy(*context, biometrics, &error);
    EXPECT_EQ(biometryType(*context), LABiometryType::touchID);
}

TEST_F(AppleLocalAuthentication, RepliesWithThePlatformsErrorWhenThePersonCancels) {
    DeviceUnderTest::answerPrompts(DeviceUnderTest::PromptAnswer::cancel);

    const Outcome outcome = evaluate();
    EXPECT_FALSE(outcome.success);
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(outcome.error->code, -2);
    EXPECT_EQ(outcome.error->localizedDescription(), "Authentication canceled.");
}

TEST_F(AppleLocalAuthentication, RepliesWithoutAnErrorWhereThePlatformGivesNone) {
    AppleStandIns::refuseNext(nullptr);

    const Outcome outcome = evaluate();
    EXPECT_FALSE(outcome.success);
    EXPECT_EQ(outcome.error, std::nullopt);
}

TEST_F(AppleLocalAuthentication, KeepsTheContextUntilItHasReplied) {
    std::promise<int> aliveAtReply;
    evaluatePolicy(makeLAContext(), biometrics, "Show yourself", [&](bool, const std::optional<NSError>&) {
        aliveAtReply.set_value(AppleStandIns::contextsAlive());
    });

    EXPECT_EQ(aliveAtReply.get_future().get(), 1);
}

TEST_F(AppleLocalAuthentication, NeedsNoAutoreleasePoolOfItsCaller) {
    setBiometrics(LABiometryType::faceID, false, false);

    testing::internal::CaptureStderr();  // where objects that no pool holds are complained about
    std::thread([] {
        const LAContextRef context = makeLAContext();
        std::optional<NSError> error;
        canEvaluatePolicy(*context, biometrics, &error);
        evaluatePolicy(context, biometrics, "Show yourself", [](bool, const std::optional<NSError>&) {});
    }).join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace KavrelCrypto
