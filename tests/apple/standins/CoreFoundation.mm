#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <iconv.h>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "apple/standins/Object.hpp"

// The callbacks of a dictionary that owns its keys and values; nothing looks into them.
struct __CFDictionaryKeyCallBacks {};
struct __CFDictionaryValueCallBacks {};

namespace {

std::atomic<long> alive = 0;

/// Counts the object that it is a part of.
struct Counted {
    Counted() {
        ++alive;
    }
    ~Counted() {
        --alive;
    }
};

}  // namespace

@interface StandInObject : NSObject
@end

@implementation StandInObject {
  @public
    AppleStandIns::Value _value;
    Counted _counted;
}

@end

/// A string may hold unpaired surrogates, which GNUstep's own strings may not.
@interface StandInString : NSString
@end

@implementation StandInString {
  @public
    std::u16string _units;
    Counted _counted;
}

- (NSUInteger)length {
    return _units.size();
}

- (unichar)characterAtIndex:(NSUInteger)index {
    return _units.at(index);
}

- (id)copyWithZone:(NSZone*)zone {
    static_cast<void>(zone);
    return self;
}

@end

namespace AppleStandIns {
namespace {

constexpr CFTypeID booleanType = 100;
constexpr CFTypeID typeOfAnyOtherObject = 101;

__attribute__((ns_returns_retained)) id objectOf(CFTypeRef reference) {
    if (reference == nullptr) {
        fault("null was given where an object is required");
    }
    return (__bridge id)reference;
}

bool isBoolean(id object) {
    return [object isKindOfClass:[(__bridge id)kCFBooleanTrue class]];
}

/// Returns a text as UTF-16, if it is well-formed UTF-8.
std::optional<std::u16string> utf16(std::string_view utf8) {
    const iconv_t converter = iconv_open("UTF-16LE", "UTF-8");
    std::u16string units(utf8.size(), u'\0');
    auto* in = const_cast<char*>(utf8.data());
    auto* out = reinterpret_cast<char*>(units.data());
    std::size_t inLeft = utf8.size();
    std::size_t outLeft = units.size() * sizeof(char16_t);
    iconv(converter, &in, &inLeft, &out, &outLeft);
    iconv_close(converter);
    units.resize(units.size() - outLeft / sizeof(char16_t));
    return inLeft == 0 ? std::optional(std::move(units)) : std::nullopt;
}

std::string utf8(NSString* string) {
    @autoreleasepool {
        NSData* bytes = [string dataUsingEncoding:NSUTF8StringEncoding];
        return {static_cast<const char*>(bytes.bytes), bytes.length};
    }
}

struct Text {
    std::string operator()(std::int64_t number) const {
        return std::to_string(number);
    }
    std::string operator()(const Bytes& bytes) const {
        constexpr char hexadecimal[] = "0123456789abcdef";
        std::string text(2 * bytes.size() + 2, '<');
        char* digit = text.data() + 1;  // some tags have a megabyte, and are turned into text often
        for (const std::uint8_t byte : bytes) {
            *digit++ = hexadecimal[byte >> 4];
            *digit++ = hexadecimal[byte & 15];
        }
        *digit = '>';
        return text;
    }
    std::string operator()(const Dictionary& dictionary) const {
        std::string members(1, '{');
        for (const auto& [key, value] : dictionary.entries) {
            members.append(members.size() == 1 ? "" : ", ")
                .append(textOf(key))
                .append(": ")
                .append(textOf(value.get()));
        }
        return members.append(1, '}');
    }
    std::string operator()(const ReportedError& reported) const {
        const Owned description(createString(reported.error.description), CFRelease);
        return "Error Domain=" + reported.error.domain + " Code=" + std::to_string(reported.error.code) +
               " " + textOf(description.get());
    }
    std::string operator()(const AccessControl& accessControl) const {
        return accessControl.text;
    }
    template <typename T>
    std::string operator()(const T&) const {
        return "an object of Security's";
    }
};

/// Foundation's boolean. While the program starts, the compiler's own way to send a message is not ready.
CFBooleanRef booleanOf(BOOL value) {
    Class numbers = objc_lookUpClass("NSNumber");
    const SEL selector = sel_registerName("numberWithBool:");
    const auto numberWithBool = reinterpret_cast<CFTypeRef (*)(Class, SEL, BOOL)>(
        reinterpret_cast<void (*)()>(objc_msg_lookup(numbers, selector)));
    return static_cast<CFBooleanRef>(numberWithBool(numbers, selector, value));
}

}  // namespace

void fault(const std::string& what) {
    std::fprintf(stderr, "stand-in: %s\n", what.c_str());
    std::abort();
}

long objectsAlive() {
    return alive;
}

CFStringRef createString(std::u16string units) {
    StandInString* string = [[StandInString alloc] init];
    string->_units = std::move(units);
    return (__bridge_retained CFStringRef)string;
}

CFTypeRef makeObject(Value value) {
    StandInObject* object = [[StandInObject alloc] init];
    object->_value = std::move(value);
    return (__bridge_retained CFTypeRef)object;
}

Value& valueOf(CFTypeRef reference) {
    if (![objectOf(reference) isKindOfClass:[StandInObject class]]) {
        fault("an object of another type was expected than " + textOf(reference));
    }
    return ((__bridge StandInObject*)reference)->_value;
}

std::u16string unitsOf(CFTypeRef string) {
    if (![objectOf(string) isKindOfClass:[NSString class]]) {
        fault("a string was expected and not " + textOf(string));
    }
    NSString* text = (__bridge NSString*)string;
    std::u16string units(text.length, u'\0');
    [text getCharacters:reinterpret_cast<unichar*>(units.data()) range:NSMakeRange(0, units.size())];
    return units;
}

std::string textOf(CFTypeRef reference) {
    id object = (__bridge id)reference;
    if ([object isKindOfClass:[NSConstantString class]]) {
        return utf8(object);
    }
    if ([object isKindOfClass:[NSString class]]) {
        return std::string(1, '"').append(utf8(object)).append(1, '"');
    }
    if ([object isKindOfClass:[StandInObject class]]) {
        return std::visit(Text(), valueOf(reference));
    }
    if (isBoolean(object)) {
        return reference == kCFBooleanTrue ? "true" : "false";
    }
    return object == nil ? "null" : "an Objective-C object";
}

CFTypeRef Dictionary::find(CFStringRef key) const {
    for (const auto& entry : entries) {
        if (entry.first == key) {
            return entry.second.get();
        }
    }
    return nullptr;
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = booleanOf(YES);
const CFBooleanRef kCFBooleanFalse = booleanOf(NO);
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{};

CFTypeRef CFRetain(CFTypeRef object) {
    return (__bridge_retained CFTypeRef)objectOf(object);
}

void CFRelease(CFTypeRef object) {
    if (object == nullptr) {
        fault("null was released");
    }
    static_cast<void>((__bridge_transfer id)object);
}

CFTypeRef CFBridgingRetain(id object) {
    return (__bridge_retained CFTypeRef)object;
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    if (isBoolean(objectOf(object))) {
        return booleanType;
    }
    return [objectOf(object) isKindOfClass:[StandInObject class]] ? valueOf(object).index()
                                                                  : typeOfAnyOtherObject;
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    return createString(*utf16(textOf(object)));
}

CFTypeID CFBooleanGetTypeID() {
    return booleanType;
}

CFTypeID CFDataGetTypeID() {
    return typeID<Bytes>();
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
    return make<CFDataRef>(Bytes(bytes, bytes + length));
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
    return as<Bytes>(data).data();
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(as<Bytes>(data).size());
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
    return make<CFNumberRef>(*static_cast<const std::int64_t*>(value));
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    if (keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
        valueCallBacks != &kCFTypeDictionaryValueCallBacks) {
        fault("a dictionary was made that does not own what it holds");
    }
    return make<CFMutableDictionaryRef>(Dictionary());
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    auto& filled = as<Dictionary>(dictionary);
    const auto name = static_cast<CFStringRef>(key);
    if (filled.find(name) != nullptr) {
        fault("a dictionary got two values under " + textOf(key));
    }
    filled.entries.emplace_back(name, Owned(CFRetain(value), CFRelease));
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) {
    return static_cast<CFStringRef>(as<ReportedError>(error).domain.get());
}

CFIndex CFErrorGetCode(CFErrorRef error) {
    return as<ReportedError>(error).error.code;
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
    return createString(as<ReportedError>(error).error.description);
}

void AppleStandIns::giveError(CFErrorRef* error, const Error& reason) {
    if (error != nullptr) {
        *error =
            make<CFErrorRef>(ReportedError{reason, Owned(createString(*utf16(reason.domain)), CFRelease)});
    }
}
