#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <string>

#include "devices/apple/CFRef.hpp"
#include "platform/Foundation.hpp"
#include "platform/Security.hpp"
#include "text/Bytes.hpp"

/// The values that cross the seam, converted to CoreFoundation's and back.
namespace KavrelCrypto {

/// Returns a string with the code points of `utf8`, all of them, or null if that is not well-formed UTF-8.
CFRef<CFStringRef> makeCFString(const std::string& utf8);

CFRef<CFDataRef> makeCFData(BytesView bytes);

/// Returns a dictionary with the entries of `map`, added in their order. Null if one of the values cannot be
/// made: a string that is not UTF-8, or a context or an access control that is null.
CFRef<CFDictionaryRef> makeCFDictionary(const CFDictionary& map);

/// Returns `string` in UTF-8, in which each unpaired surrogate becomes one U+FFFD. Null becomes the empty
/// string.
std::string toString(CFStringRef string);

Bytes bytesOf(CFDataRef data);

/// Returns the error with the platform's domain, code, description and printed form.
NSError toNSError(CFErrorRef error);

/// Returns the framework's constant of the same name.
CFStringRef constantOf(SecConstant name);
CFStringRef constantOf(SecKeyAlgorithm name);

}  // namespace KavrelCrypto
