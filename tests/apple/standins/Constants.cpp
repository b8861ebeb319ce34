#include <Security/Security.h>

#include "apple/standins/Object.hpp"

// Each constant is a text of its own, which prints as the constant's name.
#define DEFINE(name)         \
    const CFStringRef name = \
        AppleStandIns::referenceTo<CFStringRef>(new AppleStandIns::ConstantObject(#name));
STAND_IN_CONSTANTS(DEFINE)
STAND_IN_ALGORITHMS(DEFINE)
