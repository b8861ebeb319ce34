#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// The stand-ins for Apple's C interfaces, as a test meets them: a keychain in memory with real keys, an
/// account of every reference, a record of what was asked, and failures to order. They stop the process where
/// the frameworks would crash or corrupt memory: null or an object of another type where one is required, a
/// release too many.
namespace AppleStandIns {

/// An empty keychain, an empty main queue, nothing recorded, no failure ordered.
void startNew();

/// How many references are held to all objects together. It is back at its earlier value when everything made
/// since then was released as often as it was retained.
long references();

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

/// Runs the main queue's tasks on the calling thread until `done` answers true; `done` is asked before the
/// first task and after each one.
void runMainQueueUntil(const std::function<bool()>& done);

/// An object that is of no use in any operation, the caller's to release.
CFTypeRef createObject();

/// A string of UTF-16 units, unpaired surrogates included, the caller's to release. Like every string that
/// CoreFoundation makes, it is an Objective-C object where Objective-C objects are accepted.
CFStringRef createString(std::u16string units);

/// What can be done with objects that CoreFoundation did not make, which are Objective-C's.
struct ForeignObjects {
    void (*retain)(CFTypeRef object);
    void (*release)(CFTypeRef object);
    CFTypeID (*typeID)(CFTypeRef object);
    /// The UTF-16 units of a string; absent if the object is not one.
    std::optional<std::u16string> (*unitsOf)(CFTypeRef object);
    /// A string of theirs with the units of `string`, which it takes over. The caller's to release.
    CFStringRef (*makeString)(CFStringRef string);
};
void acceptForeignObjects(const ForeignObjects& operations);

}  // namespace AppleStandIns
