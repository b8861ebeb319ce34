#import <LocalAuthentication/LocalAuthentication.h>

#include <atomic>
#include <list>
#include <mutex>
#include <thread>

#include "apple/objc/Sensor.hpp"

namespace AppleStandIns {
namespace {

constexpr NSInteger authenticationFailed = -1;
constexpr NSInteger userCancel = -2;
constexpr NSInteger biometryNotAvailable = -6;
constexpr NSInteger biometryNotEnrolled = -7;
constexpr NSInteger biometryLockout = -8;

struct Sensor {
    std::mutex mutex;
    KavrelCrypto::LABiometryType kind = KavrelCrypto::LABiometryType::faceID;
    bool enrolled = true;
    bool lockedOut = false;
    bool refuses = false;
    NSError* refusal = nil;
    Answer answer = Answer::cancel;
    std::vector<std::string> prompts{};
    std::list<std::thread> answering{};
    std::atomic<int> contexts = 0;
};

Sensor& sensor() {
    static auto& instance = *new Sensor;
    return instance;
}

NSError* makeError(NSInteger code, NSString* description) {
    return [NSError errorWithDomain:@"com.apple.LocalAuthentication"
                               code:code
                           userInfo:@{NSLocalizedDescriptionKey : description}];
}

/// Why biometrics cannot be used; nil when they can.
NSError* whyUnavailable() {
    if (sensor().kind == KavrelCrypto::LABiometryType::none) {
        return makeError(biometryNotAvailable, @"Biometry is not available on this device.");
    }
    if (!sensor().enrolled) {
        return makeError(biometryNotEnrolled, @"No identities are enrolled.");
    }
    return sensor().lockedOut ? makeError(biometryLockout, @"Biometry is locked out.") : nil;
}

/// Why a prompt that gets `answer` fails; nil for none or for no reason.
NSError* whyFailed(Answer answer) {
    switch (answer) {
        case Answer::noMatch:
            return makeError(authenticationFailed, @"Application retry limit exceeded.");
        case Answer::cancel:
            return makeError(userCancel, @"Authentication canceled.");
        case Answer::match:
        case Answer::failureWithoutError:
            return nil;
    }
}

}  // namespace

void startNewSensor() {
    for (std::thread& thread : sensor().answering) {
        thread.join();
    }
    sensor().answering.clear();
    const std::lock_guard lock(sensor().mutex);
    sensor().kind = KavrelCrypto::LABiometryType::faceID;
    sensor().enrolled = true;
    sensor().lockedOut = false;
    sensor().refuses = false;
    sensor().refusal = nil;
    sensor().answer = Answer::cancel;
    sensor().prompts.clear();
}

void setBiometrics(KavrelCrypto::LABiometryType kind, bool enrolled, bool lockedOut) {
    const std::lock_guard lock(sensor().mutex);
    sensor().kind = kind;
    sensor().enrolled = enrolled;
    sensor().lockedOut = lockedOut;
}

void refuseNext(NSError* reason) {
    const std::lock_guard lock(sensor().mutex);
    sensor().refuses = true;
    sensor().refusal = reason;
}

void answerPrompts(Answer answer) {
    const std::lock_guard lock(sensor().mutex);
    sensor().answer = answer;
}

std::vector<std::string> promptsShown() {
    const std::lock_guard lock(sensor().mutex);
    return sensor().prompts;
}

int contextsAlive() {
    return sensor().contexts;
}

}  // namespace AppleStandIns

using AppleStandIns::sensor;

@implementation LAContext {
    LABiometryType _biometryType;
}

- (instancetype)init {
    self = [super init];
    ++sensor().contexts;
    return self;
}

- (void)dealloc {
    --sensor().contexts;
}

- (LABiometryType)biometryType {
    return _biometryType;
}

- (void)checkPolicy:(LAPolicy)policy {
    if (policy != LAPolicyDeviceOwnerAuthenticationWithBiometrics) {
        [NSException raise:NSInvalidArgumentException format:@"policy %ld", static_cast<long>(policy)];
    }
}

- (BOOL)canEvaluatePolicy:(LAPolicy)policy error:(NSError* __autoreleasing*)error {
    [self checkPolicy:policy];
    const std::lock_guard lock(sensor().mutex);
    _biometryType = static_cast<LABiometryType>(sensor().kind);
    const bool refuses = std::exchange(sensor().refuses, false);
    NSError* reason = refuses ? sensor().refusal : AppleStandIns::whyUnavailable();
    if (reason != nil && error != nullptr) {
        *error = reason;
    }
    return !refuses && reason == nil;
}

- (void)evaluatePolicy:(LAPolicy)policy
       localizedReason:(NSString*)localizedReason
                 reply:(void (^)(BOOL success, NSError* error))reply {
    [self checkPolicy:policy];
    if (localizedReason.length == 0) {
        [NSException raise:NSInvalidArgumentException format:@"a prompt needs a reason"];
    }
    const std::lock_guard lock(sensor().mutex);
    sensor().prompts.emplace_back(localizedReason.UTF8String);
    const AppleStandIns::Answer answer = sensor().answer;
    NSError* reason = AppleStandIns::whyUnavailable();
    NSError* failure = reason != nil ? reason : AppleStandIns::whyFailed(answer);
    const bool success = failure == nil && answer == AppleStandIns::Answer::match;
    // The context is not kept here: whoever asked it has to.
    sensor().answering.emplace_back([success, failure, reply] {
        GSRegisterCurrentThread();
        @autoreleasepool {
            reply(success, failure);
        }
        GSUnregisterCurrentThread();
    });
}

@end
