#include "apple/objc/Bridging.hpp"

#import <Foundation/Foundation.h>

#include "apple/standins/Object.hpp"

/// A string of CoreFoundation's as an Objective-C object. It may hold unpaired surrogates, which GNUstep's
/// own strings may not, and it counts among the stand-ins' references.
@interface BridgedString : NSString
@end

@implementation BridgedString {
    CFStringRef _string;
    std::u16string _units;
}

- (instancetype)initTakingOver:(CFStringRef)string {
    self = [super init];
    _string = string;
    _units = AppleStandIns::unitsOf(string);
    return self;
}

- (void)dealloc {
    CFRelease(_string);
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

namespace {

constexpr CFTypeID typeOfAnyOtherObject = 1000;

void retain(CFTypeRef object) {
    (void)(__bridge_retained CFTypeRef)(__bridge id)object;
}

void release(CFTypeRef object) {
    (void)(__bridge_transfer id)object;
}

CFTypeID typeID(CFTypeRef object) {
    Class booleans = [[NSNumber numberWithBool:YES] class];
    return [(__bridge id)object isKindOfClass:booleans] ? CFBooleanGetTypeID() : typeOfAnyOtherObject;
}

std::optional<std::u16string> unitsOfObject(CFTypeRef object) {
    if (![(__bridge id)object isKindOfClass:[NSString class]]) {
        return std::nullopt;
    }
    NSString* string = (__bridge NSString*)object;
    std::u16string units(string.length, u'\0');
    [string getCharacters:reinterpret_cast<unichar*>(units.data()) range:NSMakeRange(0, units.size())];
    return units;
}

CFStringRef makeString(CFStringRef string) {
    return (__bridge_retained CFStringRef)[[BridgedString alloc] initTakingOver:string];
}

}  // namespace

void AppleStandIns::acceptObjectiveC() {
    acceptForeignObjects({.retain = retain,
                          .release = release,
                          .typeID = typeID,
                          .unitsOf = unitsOfObject,
                          .makeString = makeString});
}
