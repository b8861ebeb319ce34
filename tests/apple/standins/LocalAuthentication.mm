#import <LocalAuthentication/LocalAuthentication.h>

#include <atomic>
#include <list>
#include <mutex>
#include <thread>

#include "apple/standins/Object.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace AppleStandIns {
namespace {

using KavrelCrypto::DeviceUnderTest::PromptAnswer;

constexpr NSInteger authenticationFailed = -1;
constexpr NSInteger userCancel = -2;
constexpr NSInteger biometryNotAvailable = -6;
constexpr NSInteger biometryNotEnrolled = -7;
constexpr NSInteger biometryLockout = -8;

struct Sensor {
    KavrelCrypto::LABiometryType kind = KavrelCrypto::LABiometryType::faceID;
    bool enrolled = true;
    bool lockedOut = false;
    bool refuses = false;
    NSError* refusal = nil;
    PromptAnswer answer = PromptAnswer::cancel;
    std::vector<std::string> prompts{};
};

std::mutex sensorMutex;
Sensor sensor;
std::list<std::thread> answering;  // the threads on which prompts are answered
std::atomic<int> contexts = 0;

NSError* makeError(NSInteger code, NSString* description) {
    return [NSError errorWithDomain:@"com.apple.LocalAuthentication"
                               code:code
                           userInfo:@{NSLocalizedDescriptionKey : description}];
}

/// Why biometrics cannot be used; nil when they can.
NSError* whyUnavailable() {
    if (sensor.kind == KavrelCrypto::LABiometryType::none) {
        return makeError(biometryNotAvailable, @"Biometry is not available on this device.");
    }
    if (!sensor.enrolled) {
        return makeError(biometryNotEnrolled, @"No identities are enrolled.");
    }
    return sensor.lockedOut ? makeError(biometryLockout, @"Biometry is locked out.") : nil;
}

/// Why a prompt that gets `answer` fails; nil when it does not.
NSError* whyFailed(PromptAnswer answer) {
    switch (answer) {
        case PromptAnswer::noMatch:
            return makeError(authenticationFailed, @"Application retry limit exceeded.");
        case PromptAnswer::cancel:
            return makeError(userCancel, @"Authentication canceled.");
        case PromptAnswer::match:
            return nil;
    }
}

struct Outcome {
    bool success;
    NSError* failure;
};

Outcome outcomeOfQuestion() {
    if (std::exchange(sensor.refuses, false)) {
        return {false, std::exchange(sensor.refusal, nil)};
    }
    NSError* reason = whyUnavailable();
    return {reason == nil, reason};
}

Outcome outcomeOfPrompt() {
    const Outcome outcome = outcomeOfQuestion();
    NSError* reason = outcome.success ? whyFailed(sensor.answer) : outcome.failure;
    return {outcome.success && reason == nil, reason};
}

}  // namespace

void startNewSensor() {
    for (std::thread& thread : answering) {
        thread.join();
    }
    answering.clear();
    const std::lock_guard lock(sensorMutex);
    sensor = Sensor();
}

void refuseNext(CFTypeRef error) {
    const std::lock_guard lock(sensorMutex);
    sensor.refuses = true;
    sensor.refusal = (__bridge NSError*)error;
}

int contextsAlive() {
    return contexts;
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

namespace KavrelCrypto::DeviceUnderTest {

void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut) {
    const std::lock_guard lock(sensorMutex);
    sensor.kind = kind;
    sensor.enrolled = enrolled;
    sensor.lockedOut = lockedOut;
}

void answerPrompts(PromptAnswer answer) {
    const std::lock_guard lock(sensorMutex);
    sensor.answer = answer;
}

std::vector<std::string> promptsShown() {
    const std::lock_guard lock(sensorMutex);
    return sensor.prompts;
}

}  // namespace KavrelCrypto::DeviceUnderTest

@implementation LAContext

- (instancetype)init {
    self = [super init];
    ++contexts;
    return self;
}

- (void)dealloc {
    --contexts;
}

- (void)checkPolicy:(LAPolicy)policy {
    if (policy != LAPolicyDeviceOwnerAuthenticationWithBiometrics) {
        [NSException raise:NSInvalidArgumentException format:@"policy %ld", static_cast<long>(policy)];
    }
}

- (BOOL)canEvaluatePolicy:(LAPolicy)policy error:(NSError* __autoreleasing*)error {
    [self checkPolicy:policy];
    const std::lock_guard lock(sensorMutex);
    _biometryType = static_cast<LABiometryType>(sensor.kind);
    const Outcome outcome = outcomeOfQuestion();
    if (outcome.failure != nil && error != nullptr) {
        *error = outcome.failure;
    }
    return outcome.success;
}

- (void)evaluatePolicy:(LAPolicy)policy
       localizedReason:(NSString*)localizedReason
                 reply:(void (^)(BOOL success, NSError* error))reply {
    [self checkPolicy:policy];
    if (localizedReason.length == 0) {
        [NSException raise:NSInvalidArgumentException format:@"a prompt needs a reason"];
    }
    const std::lock_guard lock(sensorMutex);
    sensor.prompts.emplace_back(localizedReason.UTF8String);
    const Outcome outcome = outcomeOfPrompt();
    // The context is not kept here: whoever asked it has to.
    answering.emplace_back([outcome, reply] {
        GSRegisterCurrentThread();
        @autoreleasepool {
            reply(outcome.success, outcome.failure);
        }
        GSUnregisterCurrentThread();
    });
}

@end
