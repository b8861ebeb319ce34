#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apple/standins/StandIns.hpp"

/// The objects behind the stand-ins' references.
namespace AppleStandIns {

/// Says on standard error what the caller did wrong, and aborts.
[[noreturn]] void fault(const std::string& what);

enum Type : CFTypeID {
    booleanType = 1,
    numberType,
    dataType,
    stringType,
    dictionaryType,
    errorType,
    keyType,
    otherType
};

/// Begins with one reference, the maker's.
class Object {
  public:
    explicit Object(Type type);
    virtual ~Object();
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    /// As it stands in the record of calls.
    [[nodiscard]] virtual std::string text() const = 0;
    /// Whether it lives as long as the process, however often it is released.
    [[nodiscard]] virtual bool isConstant() const {
        return false;
    }

    const Type type;
    std::atomic<long> references = 1;
};

struct BooleanObject final : Object {
    explicit BooleanObject(bool value_) : Object(booleanType), value(value_) {}
    [[nodiscard]] std::string text() const override {
        return value ? "true" : "false";
    }
    [[nodiscard]] bool isConstant() const override {
        return true;
    }
    const bool value;
};

struct NumberObject final : Object {
    explicit NumberObject(std::int64_t value_) : Object(numberType), value(value_) {}
    [[nodiscard]] std::string text() const override {
        return std::to_string(value);
    }
    const std::int64_t value;
};

struct DataObject final : Object {
    explicit DataObject(std::vector<std::uint8_t> bytes_) : Object(dataType), bytes(std::move(bytes_)) {}
    [[nodiscard]] std::string text() const override;
    const std::vector<std::uint8_t> bytes;
};

struct StringObject : Object {
    explicit StringObject(std::u16string units_) : Object(stringType), units(std::move(units_)) {}
    [[nodiscard]] std::string text() const override;
    const std::u16string units;
};

/// A text that a framework exports. It prints as its name.
struct ConstantObject final : StringObject {
    explicit ConstantObject(const char* name_);
    [[nodiscard]] std::string text() const override {
        return name;
    }
    [[nodiscard]] bool isConstant() const override {
        return true;
    }
    const std::string name;
};

struct DictionaryObject final : Object {
    DictionaryObject() : Object(dictionaryType) {}
    ~DictionaryObject() override;
    [[nodiscard]] std::string text() const override;
    /// The value under a constant, or null.
    [[nodiscard]] CFTypeRef find(CFStringRef key) const;
    std::vector<std::pair<CFTypeRef, CFTypeRef>> entries;
};

struct ErrorObject final : Object {
    explicit ErrorObject(const Error& error);
    ~ErrorObject() override;
    [[nodiscard]] std::string text() const override;
    const CFStringRef domain;
    const CFIndex code;
    const std::u16string description;
};

/// The object behind `reference`, which is not null, alive and not Objective-C's.
Object& objectOf(CFTypeRef reference);

/// The object behind `reference` when it is a T, else null.
template <typename T>
T* tryAs(CFTypeRef reference) {
    return dynamic_cast<T*>(&objectOf(reference));
}

/// The object behind `reference`, which has to be a T.
template <typename T>
T& as(CFTypeRef reference) {
    if (T* object = tryAs<T>(reference)) {
        return *object;
    }
    fault("an object of another type was expected than " + objectOf(reference).text());
}

/// The UTF-16 units of `string`, which has to be a string, CoreFoundation's or Objective-C's.
std::u16string unitsOf(CFTypeRef string);

/// The reference to an object that was just made.
template <typename Ref>
Ref referenceTo(Object* object) {
    return static_cast<Ref>(static_cast<void*>(object));
}

/// As it stands in the record of calls: any reference, null and Objective-C's too.
std::string textOf(CFTypeRef reference);

/// Empties the record, and forgets the failures ordered.
void forgetCalls();

void record(const std::string& operation, const std::vector<CFTypeRef>& arguments);

/// The failure ordered for `operation`, which is then used up.
std::optional<Failure> takeFailure(const std::string& operation);

/// Takes an ordered failure of an operation that gives an object or null, and puts its error where the caller
/// wants it.
bool fails(const std::string& operation, CFErrorRef* error);

void giveError(CFErrorRef* error, const Error& reason);

}  // namespace AppleStandIns
