#pragma once

// The Objective-C runtime's basic types. Debian's own header is for GCC: Clang has types for objects, classes
// and selectors built in, and ARC wants `nil` and the booleans spelled its way.

#include <stddef.h>
#include <stdint.h>

#define __GNU_LIBOBJC__ 20110608

typedef struct objc_class* Class;
typedef unsigned char BOOL;
typedef id (*IMP)(id, SEL, ...);
typedef struct objc_method* Method;
typedef struct objc_ivar* Ivar;
typedef struct objc_property* objc_property_t;
@class Protocol;

#define YES __objc_yes
#define NO __objc_no
#ifdef __cplusplus
#define nil nullptr
#define Nil nullptr
#else
#define nil ((id)0)
#define Nil ((Class)0)
#endif
