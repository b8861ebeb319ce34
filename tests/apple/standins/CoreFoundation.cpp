#include <CoreFoundation/CoreFoundation.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iconv.h>
#include <mutex>
#include <set>

#include "apple/standins/Object.hpp"

// The callbacks of a dictionary that owns its keys and values; nothing looks into them.
struct __CFDictionaryKeyCallBacks {};
struct __CFDictionaryValueCallBacks {};

namespace AppleStandIns {
namespace {

/// Every object that is alive.
struct Account {
    std::mutex mutex;
    std::set<const void*> alive;
    std::atomic<long> references = 0;
    std::optional<ForeignObjects> foreign;
};

Account& account() {
    static auto& instance = *new Account;
    return instance;
}

bool isAlive(CFTypeRef reference) {
    const std::lock_guard lock(account().mutex);
    return account().alive.contains(reference);
}

/// How to treat an object that CoreFoundation did not make; absent for one that it did.
const ForeignObjects* foreign(CFTypeRef reference) {
    if (reference == nullptr) {
        fault("null was given where an object is required");
    }
    if (isAlive(reference)) {
        return nullptr;
    }
    if (!account().foreign.has_value()) {
        fault("an object was used that does not exist, or no longer");
    }
    return &*account().foreign;
}

/// Converts as much of `text` as its encoding allows, removes that from `text`, and returns it.
template <typename To, typename From>
std::basic_string<To> converted(const char* to, const char* from, std::basic_string_view<From>& text) {
    const iconv_t converter = iconv_open(to, from);
    std::basic_string<To> result(3 * text.size(), To());
    auto* in = reinterpret_cast<char*>(const_cast<From*>(text.data()));
    auto* out = reinterpret_cast<char*>(result.data());
    std::size_t inLeft = text.size() * sizeof(From);
    std::size_t outLeft = result.size() * sizeof(To);
    iconv(converter, &in, &inLeft, &out, &outLeft);
    iconv_close(converter);
    text.remove_prefix(text.size() - inLeft / sizeof(From));
    result.resize(result.size() - outLeft / sizeof(To));
    return result;
}

std::optional<std::u16string> utf16(std::string_view utf8) {
    auto units = converted<char16_t>("UTF-16LE", "UTF-8", utf8);
    return utf8.empty() ? std::optional(std::move(units)) : std::nullopt;
}

/// Returns a string in UTF-8 for the record of calls, with a question mark for each unpaired surrogate.
std::string utf8(std::u16string_view units) {
    std::string bytes = converted<char>("UTF-8", "UTF-16LE", units);
    while (!units.empty()) {
        units.remove_prefix(1);
        bytes.append(1, '?').append(converted<char>("UTF-8", "UTF-16LE", units));
    }
    return bytes;
}

std::string quoted(std::u16string_view units) {
    return std::string(1, '"').append(utf8(units)).append(1, '"');
}

CFStringRef makeString(std::u16string units) {
    return referenceTo<CFStringRef>(new StringObject(std::move(units)));
}

/// Returns `string`, which it takes over, as what CoreFoundation makes: an Objective-C object where there are
/// any.
CFStringRef bridged(CFStringRef string) {
    return account().foreign.has_value() ? account().foreign->makeString(string) : string;
}

}  // namespace

void fault(const std::string& what) {
    std::fprintf(stderr, "stand-in: %s\n", what.c_str());
    std::abort();
}

long references() {
    return account().references;
}

void acceptForeignObjects(const ForeignObjects& operations) {
    account().foreign = operations;
}

CFTypeRef createObject() {
    return makeString(u"an object");
}

CFStringRef createString(std::u16string units) {
    return bridged(makeString(std::move(units)));
}

std::u16string unitsOf(CFTypeRef string) {
    if (const ForeignObjects* operations = foreign(string)) {
        if (auto units = operations->unitsOf(string)) {
            return *std::move(units);
        }
        fault("an Objective-C object was given where a string is required");
    }
    return as<StringObject>(string).units;
}

Object::Object(Type type_) : type(type_) {
    const std::lock_guard lock(account().mutex);
    account().alive.insert(this);
    ++account().references;
}

Object::~Object() {
    const std::lock_guard lock(account().mutex);
    account().alive.erase(this);
}

Object& objectOf(CFTypeRef reference) {
    if (foreign(reference) != nullptr) {
        fault("an Objective-C object was given where only a CoreFoundation object will do");
    }
    return *static_cast<Object*>(const_cast<void*>(reference));
}

std::string textOf(CFTypeRef reference) {
    if (reference == nullptr) {
        return "null";
    }
    const ForeignObjects* operations = foreign(reference);
    if (operations == nullptr) {
        return objectOf(reference).text();
    }
    const auto units = operations->unitsOf(reference);
    return units.has_value() ? quoted(*units) : "an Objective-C object";
}

std::string DataObject::text() const {
    constexpr char hexadecimal[] = "0123456789abcdef";
    std::string text(2 * bytes.size() + 2, '<');
    char* digit = text.data() + 1;  // some tags have a megabyte, and are turned into text for each operation
    for (const std::uint8_t byte : bytes) {
        *digit++ = hexadecimal[byte >> 4];
        *digit++ = hexadecimal[byte & 15];
    }
    *digit = '>';
    return text;
}

std::string StringObject::text() const {
    return quoted(units);
}

ConstantObject::ConstantObject(const char* name_) : StringObject(*utf16(name_)), name(name_) {}

DictionaryObject::~DictionaryObject() {
    for (const auto& [key, value] : entries) {
        CFRelease(key);
        CFRelease(value);
    }
}

std::string DictionaryObject::text() const {
    std::string members(1, '{');
    for (const auto& [key, value] : entries) {
        members.append(members.size() == 1 ? "" : ", ")
            .append(textOf(key))
            .append(": ")
            .append(textOf(value));
    }
    return members.append(1, '}');
}

CFTypeRef DictionaryObject::find(CFStringRef key) const {
    for (const auto& entry : entries) {
        if (entry.first == key) {
            return entry.second;
        }
    }
    return nullptr;
}

ErrorObject::ErrorObject(const Error& error)
    : Object(errorType),
      domain(makeString(*utf16(error.domain))),
      code(error.code),
      description(error.description) {}

ErrorObject::~ErrorObject() {
    CFRelease(domain);
}

std::string ErrorObject::text() const {
    return "Error Domain=" + utf8(as<StringObject>(domain).units) + " Code=" + std::to_string(code) + " \"" +
           utf8(description) + "\"";
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = referenceTo<CFBooleanRef>(new BooleanObject(true));
const CFBooleanRef kCFBooleanFalse = referenceTo<CFBooleanRef>(new BooleanObject(false));
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};

CFTypeRef CFRetain(CFTypeRef object) {
    if (const ForeignObjects* operations = foreign(object)) {
        operations->retain(object);
    } else {
        ++objectOf(object).references;
        ++account().references;
    }
    return object;
}

void CFRelease(CFTypeRef object) {
    if (const ForeignObjects* operations = foreign(object)) {
        operations->release(object);
        return;
    }
    Object& released = objectOf(object);
    --account().references;
    if (--released.references == 0) {
        if (released.isConstant()) {
            fault("a constant was released more often than it was retained: " + released.text());
        }
        delete &released;
    }
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    if (const ForeignObjects* operations = foreign(object)) {
        return operations->typeID(object);
    }
    return objectOf(object).type;
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    return makeString(*utf16(as<ErrorObject>(object).text()));
}

CFTypeID CFBooleanGetTypeID() {
    return booleanType;
}

CFTypeID CFDataGetTypeID() {
    return dataType;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
    return referenceTo<CFDataRef>(new DataObject({bytes, bytes + length}));
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    return as<DataObject>(data).bytes.data();
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(as<DataObject>(data).bytes.size());
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    if (bytes == nullptr || encoding != kCFStringEncodingUTF8) {
        fault("a string was made of a null buffer, or of something other than UTF-8");
    }
    std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(numBytes));
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (isExternalRepresentation != 0 && text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    auto units = utf16(text);
    return units.has_value() ? createString(*std::move(units)) : nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) {
    return static_cast<CFIndex>(unitsOf(string).size());
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
    const std::u16string units = unitsOf(string);
    if (buffer == nullptr || range.location != 0 || range.length != static_cast<CFIndex>(units.size())) {
        fault("a part of a string was asked for, or one to be put into a null buffer");
    }
    std::copy(units.begin(), units.end(), buffer);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    if (type != kCFNumberSInt64Type) {
        fault("a number was made that is not of 64 bits");
    }
    return referenceTo<CFNumberRef>(new NumberObject(*static_cast<const std::int64_t*>(value)));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    if (keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
        valueCallBacks != &kCFTypeDictionaryValueCallBacks) {
        fault("a dictionary was made that does not own what it holds");
    }
    return referenceTo<CFMutableDictionaryRef>(new DictionaryObject);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    auto& filled = as<DictionaryObject>(dictionary);
    if (filled.find(static_cast<CFStringRef>(key)) != nullptr) {
        fault("a dictionary got two values under " + textOf(key));
    }
    filled.entries.emplace_back(CFRetain(key), CFRetain(value));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) {
    return as<ErrorObject>(error).domain;
}

CFIndex CFErrorGetCode(CFErrorRef error) {
    return as<ErrorObject>(error).code;
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
    return makeString(as<ErrorObject>(error).description);
}
