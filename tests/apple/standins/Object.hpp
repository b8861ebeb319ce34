#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <cstdint>
#include <memory>
#include <openssl/types.h>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "apple/standins/StandIns.hpp"
#include "text/Bytes.hpp"

/// The objects behind the stand-ins' references. As on the phone, each is an Objective-C object.
namespace AppleStandIns {

using KavrelCrypto::Bytes;

/// Says on standard error what the caller did wrong, and aborts.
[[noreturn]] void fault(const std::string& what);

/// An object that belongs to another one.
using Owned = std::shared_ptr<const void>;

/// Keeps its entries in the order in which they were made. Its keys are constants.
struct Dictionary {
    /// The value under a constant, or null.
    [[nodiscard]] CFTypeRef find(CFStringRef key) const;
    std::vector<std::pair<CFStringRef, Owned>> entries;
};

struct ReportedError {
    Error error;
    Owned domain;
};

struct Key {
    std::shared_ptr<EVP_PKEY> pair;
    bool isPrivate = false;
};

struct AccessControl {
    std::string text;
};

struct Certificate {
    std::shared_ptr<X509> x509;
};

struct Policy {};

struct Trust {
    Certificate certificate;
};

/// What an object is, if it is neither a string nor a boolean: those are Foundation's.
using Value = std::variant<std::int64_t, Bytes, Dictionary, ReportedError, Key, AccessControl, Certificate,
                           Policy, Trust>;

/// Makes an object, the caller's to release.
CFTypeRef makeObject(Value value);
template <typename Ref>
Ref make(Value value) {
    return static_cast<Ref>(const_cast<void*>(makeObject(std::move(value))));
}

/// As it stands in the record of calls: any reference, null too.
std::string textOf(CFTypeRef reference);

/// What the object behind `reference` is; that must be one of the stand-ins'.
Value& valueOf(CFTypeRef reference);

/// The object behind `reference`, which has to be a T.
template <typename T>
T& as(CFTypeRef reference) {
    if (T* value = std::get_if<T>(&valueOf(reference))) {
        return *value;
    }
    fault("an object of another type was expected than " + textOf(reference));
}

template <typename T>
CFTypeID typeID() {
    return Value(std::in_place_type<T>).index();
}

/// The UTF-16 units of `string`, which has to be a string.
std::u16string unitsOf(CFTypeRef string);

void startNewSensor();

/// Empties the record, and forgets the failures ordered.
void forgetCalls();

void record(const std::string& operation, const std::vector<CFTypeRef>& arguments);

/// The failure ordered for `operation`, which is then used up.
std::optional<Failure> takeFailure(const std::string& operation);

/// Takes an ordered failure of an operation that gives an object or null, and puts its error where the caller
/// wants it.
bool fails(const std::string& operation, CFErrorRef* error);

void giveError(CFErrorRef* error, const Error& reason);

/// Puts one half of a pair into the keychain. `keyType` is one of the constants.
void storeKey(const Key& half, CFTypeRef keyType, const Dictionary& attributes);

}  // namespace AppleStandIns
