#include "apple/objc/Bridging.hpp"

#import <Foundation/Foundation.h>

#include "apple/standins/StandIns.hpp"

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

}  // namespace

void AppleStandIns::acceptObjectiveC() {
    acceptForeignObjects({.retain = retain, .release = release, .typeID = typeID});
}
