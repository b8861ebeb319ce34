// The stand-ins notice what they are there to notice.

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include "apple/standins/StandIns.hpp"

namespace AppleStandIns {
namespace {

TEST(AppleStandInsDeathTest, StopAtAReleaseTooMany) {
    EXPECT_DEATH(
        {
            const CFTypeRef object = createObject();
            CFRelease(object);
            CFRelease(object);
        },
        "does not exist, or no longer");
}

TEST(AppleStandInsDeathTest, StopWhenAConstantIsReleasedThatNobodyRetained) {
    EXPECT_DEATH(CFRelease(kSecClass), "a constant was released");
}

TEST(AppleStandInsDeathTest, StopWhenNullIsRetained) {
    EXPECT_DEATH(CFRetain(nullptr), "null was given");
}

TEST(AppleStandInsDeathTest, StopWhenNullIsReleased) {
    EXPECT_DEATH(CFRelease(nullptr), "null was given");
}

TEST(AppleStandInsDeathTest, StopAtAnObjectOfAnotherType) {
    EXPECT_DEATH(CFDataGetLength(static_cast<CFDataRef>(createObject())), "an object of another type");
}

TEST(AppleStandIns, CountAReferenceThatIsKept) {
    const long before = references();
    const CFTypeRef object = createObject();
    CFRetain(object);
    CFRelease(object);
    EXPECT_EQ(references(), before + 1);
    CFRelease(object);
    EXPECT_EQ(references(), before);
}

}  // namespace
}  // namespace AppleStandIns
