#include <Security/Security.h>

// Each constant is a text of its own, which prints as the constant's name.
#define DEFINE(name) const CFStringRef name = (__bridge CFStringRef) @ #name;
STAND_IN_CONSTANTS(DEFINE)
STAND_IN_ALGORITHMS(DEFINE)
