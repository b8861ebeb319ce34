#pragma once

#import <Foundation/Foundation.h>
#include <string>

#include "devices/apple/CoreFoundation.hpp"

/// The strings of Foundation, which are those of CoreFoundation: the two types are toll-free bridged, so
/// there is one conversion in each direction.
namespace KavrelCrypto {

/// Returns a string with the code points of `utf8`, all of them. Stops the process if that is not well-formed
/// UTF-8.
inline NSString* toNSString(const std::string& utf8) {
    CFRef<CFStringRef> string = makeCFString(utf8);
    if (!string) {
        fatalError("every string of the component must be UTF-8");
    }
    return (__bridge_transfer NSString*)string.release();
}

/// Returns `string` in UTF-8, in which each unpaired surrogate becomes one U+FFFD. Null becomes the empty
/// string.
inline std::string toString(NSString* string) {
    return toString((__bridge CFStringRef)string);
}

}  // namespace KavrelCrypto
