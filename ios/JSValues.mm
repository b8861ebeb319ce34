#include "ios/JSValues.hpp"

#import <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace KavrelCrypto {
namespace {

// No argument that the component reads lies deeper than two levels, and a page can nest deeper than a stack
// is.
constexpr int deepestLevel = 64;

JSObject objectOf(NSDictionary* dictionary, int level);

void appendUTF8(std::uint32_t codePoint, std::string& utf8) {
    const auto append = [&](std::uint32_t byte) { utf8.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        append(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < 0x10000) {
            append(0xE0 | codePoint >> 12);
        } else {
            append(0xF0 | codePoint >> 18);
            append(0x80 | (codePoint >> 12 & 0x3F));
        }
        append(0x80 | (codePoint >> 6 & 0x3F));
    }
    append(0x80 | (codePoint & 0x3F));
}

std::string utf8Of(NSString* string) {
    // Foundation refuses to encode a text that holds an unpaired surrogate, which a page's text may.
    std::vector<unichar> units(string.length);
    [string getCharacters:units.data() range:NSMakeRange(0, units.size())];
    std::string utf8;
    utf8.reserve(units.size());
    for (std::size_t at = 0; at < units.size(); ++at) {
        std::uint32_t codePoint = units[at];
        const bool leads = (codePoint & 0xFC00) == 0xD800;
        if (leads && at + 1 < units.size() && (units[at + 1] & 0xFC00) == 0xDC00) {
            ++at;
            codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (units[at] & 0x3FF);
        } else if ((codePoint & 0xF800) == 0xD800) {
            codePoint = 0xFFFD;
        }
        appendUTF8(codePoint, utf8);
    }
    return utf8;
}

JSValue numberOf(NSNumber* number) {
    if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID()) {
        return static_cast<bool>(number.boolValue);
    }
    const char type = *number.objCType;
    const bool isFraction = type == *@encode(double) || type == *@encode(float);
    const bool isHuge = type == *@encode(unsigned long long) &&
                        number.unsignedLongLongValue > std::numeric_limits<std::int64_t>::max();
    return isFraction || isHuge ? JSValue(number.doubleValue) : JSValue(std::int64_t{number.longLongValue});
}

JSValue valueOf(id value, int level) {
    if ([value isKindOfClass:[NSString class]]) {
        return utf8Of(value);
    }
    if ([value isKindOfClass:[NSNumber class]]) {
        return numberOf(value);
    }
    if ([value isKindOfClass:[NSDictionary class]]) {
        return objectOf(value, level + 1);
    }
    if ([value isKindOfClass:[NSArray class]]) {
        JSArray array;
        if (level < deepestLevel) {
            for (id element in value) {
                array.push_back(valueOf(element, level + 1));
            }
        }
        return array;
    }
    return nullptr;
}

JSObject objectOf(NSDictionary* dictionary, int level) {
    std::vector<JSMember> members;
    if (level <= deepestLevel) {
        for (NSString* key in dictionary) {
            members.push_back({utf8Of(key), valueOf([dictionary objectForKey:key], level)});
        }
    }
    return JSObject(std::move(members));
}

/// Makes the Foundation object for each kind of value.
struct MakeObject {
    id operator()(std::nullptr_t) const {
        return [NSNull null];
    }
    id operator()(bool value) const {
        return [NSNumber numberWithBool:value];
    }
    id operator()(std::int64_t value) const {
        return [NSNumber numberWithLongLong:value];
    }
    id operator()(double value) const {
        return [NSNumber numberWithDouble:value];
    }
    id operator()(const std::string& value) const {
        return stringOf(value);
    }
    id operator()(const JSArray& value) const {
        NSMutableArray* array = [NSMutableArray arrayWithCapacity:value.size()];
        for (const JSValue& element : value) {
            [array addObject:std::visit(*this, element.storage())];
        }
        return array;
    }
    id operator()(const JSObject& value) const {
        return dictionaryOf(value);
    }
};

}  // namespace

JSObject objectOf(NSDictionary* dictionary) {
    return objectOf(dictionary, 1);
}

NSDictionary<NSString*, id>* dictionaryOf(const JSObject& object) {
    NSMutableDictionary<NSString*, id>* dictionary = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : object.members()) {
        [dictionary setObject:std::visit(MakeObject{}, value.storage()) forKey:stringOf(key)];
    }
    return dictionary;
}

NSString* stringOf(const std::string& utf8) {
    NSString* string = [[NSString alloc] initWithBytes:utf8.data()
                                                length:utf8.size()
                                              encoding:NSUTF8StringEncoding];
    if (string == nil) {
        fatalError("every text of the component is UTF-8");
    }
    return string;
}

::NSError* errorOf(const NSError& error) {
    NSMutableDictionary* userInfo = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : error.userInfo) {
        [userInfo setObject:stringOf(value) forKey:stringOf(key)];
    }
    return [::NSError errorWithDomain:stringOf(error.domain) code:error.code userInfo:userInfo];
}

}  // namespace KavrelCrypto
