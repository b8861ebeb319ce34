// The stand-ins notice what they are there to notice.

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include "apple/standins/Object.hpp"

namespace AppleStandIns {
namespace {

TEST(AppleStandInsDeathTest, StopWhereTheFrameworksWouldCrashOrCorruptMemory) {
    const auto releaseTwice = [](CFTypeRef object) {
        CFRelease(object);
        CFRelease(object);
    };
    EXPECT_DEATH(releaseTwice(createObject()), "does not exist, or no longer");
    EXPECT_DEATH(CFRelease(kSecClass), "a constant was released");
    EXPECT_DEATH(CFRetain(nullptr), "null was given");
    EXPECT_DEATH(CFRelease(nullptr), "null was given");
    EXPECT_DEATH(CFDataGetLength(static_cast<CFDataRef>(createObject())), "an object of another type");
    EXPECT_DEATH(CFStringCreateWithBytes(kCFAllocatorDefault, nullptr, 0, kCFStringEncodingUTF8, false),
                 "a string was made of a null buffer");
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
