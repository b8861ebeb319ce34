#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <string>

#include "platform/Foundation.hpp"
#include "platform/Security.hpp"
#include "platform/apple/CFRef.hpp"
#include "text/Bytes.hpp"

/// The values that cross the seam, as CoreFoundation has them, and back.
namespace KavrelCrypto {

CFRef<CFDataRef> makeCFData(BytesView bytes);

/// A dictionary with the entries of `map`, put in their order. Null when one of the values cannot be made: a
/// text that is not UTF-8, or a context or an access control that is not there.
CFRef<CFDictionaryRef> makeCFDictionary(const CFDictionary& map);

Bytes bytesOf(CFDataRef data);

/// The error with the platform's domain, code, description and printed form.
NSError errorOf(CFErrorRef error);

/// The framework's constant of the same name.
CFStringRef constantOf(SecConstant name);
CFStringRef constantOf(SecKeyAlgorithm name);

}  // namespace KavrelCrypto
