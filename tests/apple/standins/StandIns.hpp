#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <functional>
#include <string>
#include <variant>
#include <vector>

/// The stand-ins for Apple's frameworks, as a test meets them: a keychain in memory with real keys, a sensor,
/// an account of the objects, a record of what was asked, and failures to order. They stop the process where
/// the frameworks would crash or corrupt memory: null or an object of another type where one is required.
/// DeviceUnderTest says how the sensor is and how prompts are answered.
namespace AppleStandIns {

/// An empty keychain; Face ID, enrolled and not locked; prompts cancelled, and none shown yet; nothing
/// recorded, no failure ordered. Waits for the prompts that are still being answered.
void startNew();

/// How many objects there are that the stand-ins made. It is back at its earlier value when everything made
/// since then was released as often as it was retained.
long objectsAlive();

/// How many LAContexts there are.
int contextsAlive();

/// Every call of a Security operation since startNew, in order, with its arguments as text:
/// `SecItemDelete {kSecClass: kSecClassKey, kSecAttrApplicationTag: <746167>}`. Dictionaries print in the
/// order in which they were filled.
std::vector<std::string> calls();

struct Error {
    std::string domain;
    CFIndex code;
    std::u16string description;
};
struct Nothing {};    // null, and no error
struct WrongType {};  // success, with an object of a type that was not asked for
struct ErrorAllTheSame {
    Error error;  // beside a success
};
using Failure = std::variant<Error, OSStatus, Nothing, WrongType, ErrorAllTheSame>;

/// Lets the next call of `operation` fail, once.
void failNext(const std::string& operation, Failure failure);

/// Lets the next question whether biometrics can be used, or the next prompt, be answered by a no with an
/// NSError, which may be null.
void refuseNext(CFTypeRef error);

/// Runs the main queue's tasks on the calling thread until `done` answers true; `done` is asked before the
/// first task and after each one.
void runMainQueueUntil(const std::function<bool()>& done);

/// A string of UTF-16 units, unpaired surrogates included, the caller's to release. It is an Objective-C
/// object, as every string of CoreFoundation is.
CFStringRef createString(std::u16string units);

}  // namespace AppleStandIns
