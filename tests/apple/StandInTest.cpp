// The stand-ins notice what they are there to notice.

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include "apple/standins/Object.hpp"

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

TEST(AppleStandInsDeathTest, StopWhenAStringIsMadeOfANullBuffer) {
    EXPECT_DEATH(CFStringCreateWithBytes(kCFAllocatorDefault, nullptr, 0, kCFStringEncodingUTF8, false),
                 "a string was made of a null buffer");
}

TEST(AppleStandInsDeathTest, StopWhenAStringIsToBePutIntoANullBuffer) {
    EXPECT_DEATH(CFStringGetCharacters(createString(u""), CFRangeMake(0, 0), nullptr), "a null buffer");
}

TEST(AppleStandIns, DropAByteOrderMarkFromAnExternalRepresentationOnly) {
    for (const bool isExternalRepresentation : {false, true}) {
        constexpr UInt8 bytes[] = {0xEF, 0xBB, 0xBF, 'a'};
        const CFStringRef string = CFStringCreateWithBytes(kCFAllocatorDefault, bytes, sizeof bytes,
                                                           kCFStringEncodingUTF8, isExternalRepresentation);
        EXPECT_EQ(unitsOf(string), isExternalRepresentation ? u"a" : u"\uFEFFa");
        CFRelease(string);
    }
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
