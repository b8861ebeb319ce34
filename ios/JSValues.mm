#include "ios/JSValues.hpp"

#import <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "devices/apple/NSString.hpp"

namespace KavrelCrypto {
namespace {

// The component reads no argument deeper than two levels, and a page can nest deeper than the stack allows.
constexpr int deepestLevel = 64;

JSObject toJSObject(NSDictionary* dictionary, int level);

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

JSValue toJSValue(id value, int level) {
    if ([value isKindOfClass:[NSString class]]) {
        return toString(value);
    }
    if ([value isKindOfClass:[NSNumber class]]) {
        return numberOf(value);
    }
    if ([value isKindOfClass:[NSDictionary class]]) {
        return toJSObject(value, level + 1);
    }
    if ([value isKindOfClass:[NSArray class]]) {
        JSArray array;
        if (level < deepestLevel) {
            for (id element in value) {
                array.push_back(toJSValue(element, level + 1));
            }
        }
        return array;
    }
    return nullptr;
}

JSObject toJSObject(NSDictionary* dictionary, int level) {
    std::vector<JSMember> members;
    if (level <= deepestLevel) {
        for (NSString* key in dictionary) {
            members.push_back({toString(key), toJSValue([dictionary objectForKey:key], level)});
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
        return toNSString(value);
    }
    id operator()(const JSArray& value) const {
        NSMutableArray* array = [NSMutableArray arrayWithCapacity:value.size()];
        for (const JSValue& element : value) {
            [array addObject:std::visit(*this, element.storage())];
        }
        return array;
    }
    id operator()(const JSObject& value) const {
        return toNSDictionary(value);
    }
};

}  // namespace

JSObject toJSObject(NSDictionary* dictionary) {
    return toJSObject(dictionary, 1);
}

NSDictionary<NSString*, id>* toNSDictionary(const JSObject& object) {
    NSMutableDictionary<NSString*, id>* dictionary = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : object.members()) {
        [dictionary setObject:std::visit(MakeObject{}, value.storage()) forKey:toNSString(key)];
    }
    return dictionary;
}

::NSError* toFoundationError(const NSError& error) {
    NSMutableDictionary* userInfo = [NSMutableDictionary dictionary];
    for (const auto& [key, value] : error.userInfo) {
        [userInfo setObject:toNSString(value) forKey:toNSString(key)];
    }
    return [::NSError errorWithDomain:toNSString(error.domain) code:error.code userInfo:userInfo];
}

}  // namespace KavrelCrypto
