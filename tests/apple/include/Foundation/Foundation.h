#pragma once

// GNUstep's Foundation, and the little that Apple's has beyond it.

#include_next <Foundation/Foundation.h>

#include <CoreFoundation/CoreFoundation.h>

#define FOUNDATION_EXPORT extern
#define DEPRECATED_MSG_ATTRIBUTE(message) __attribute__((deprecated(message)))
#define __deprecated_msg(message) __attribute__((deprecated(message)))
#define __deprecated __attribute__((deprecated))
#define TRUE YES

#ifdef __cplusplus
extern "C"
#endif
    CFTypeRef _Nullable CFBridgingRetain(id _Nullable object);

typedef NS_ENUM(NSInteger, NSURLSessionAuthChallengeDisposition) {
    NSURLSessionAuthChallengeUseCredential = 0,
};
