// The values of calls and results between Foundation and the component.

#include "ios/JSValues.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "apple/AppleDeviceTest.hpp"
#include "apple/standins/Object.hpp"

namespace KavrelCrypto {
namespace {

class CapacitorValues : public AppleDeviceTest {
  protected:
    /// `value` as an argument of a call arrives at the component.
    static JSValue received(id value) {
        return *toJSObject(@{@"value" : value}).find("value");
    }

    static NSString* textOf(const std::u16string& units) {
        return (__bridge_transfer NSString*)AppleStandIns::createString(units);
    }

    /// `value` in a result, as it is written for the page.
    static std::string sent(const JSValue& value) {
        NSData* json = [NSJSONSerialization dataWithJSONObject:toNSDictionary({{"value", value}})
                                                       options:0
                                                         error:nullptr];
        std::string text(static_cast<const char*>(json.bytes), json.length);
        std::erase(text, ' ');
        return text.substr(9, text.size() - 10);  // what {"value": and } enclose
    }
};

TEST_F(CapacitorValues, TakeTextsInUTF8) {
    EXPECT_EQ(received(@""), JSValue(""));
    EXPECT_EQ(received(textOf(u"\u007F\u0080\u07FF\u0800\uFFFF")), JSValue("\u007F\u0080\u07FF\u0800\uFFFF"));
    EXPECT_EQ(received(textOf(u"\U00010000\U0001F600\U0010FFFF")), JSValue("\U00010000\U0001F600\U0010FFFF"));
    EXPECT_EQ(received(textOf(u"\uFEFFa\uFEFF")), JSValue("\uFEFFa\uFEFF"));
    EXPECT_EQ(received(textOf(std::u16string(u"a\0b", 3))), JSValue(std::string("a\0b", 3)));
}

TEST_F(CapacitorValues, ReplaceAnUnpairedSurrogateByTheReplacementCharacter) {
    EXPECT_EQ(received(textOf(u"a\xD83D")), JSValue("a\uFFFD"));
    EXPECT_EQ(received(textOf(u"\xD83Dz")), JSValue("\uFFFDz"));
    EXPECT_EQ(received(textOf(u"\xDE00\xD83D")), JSValue("\uFFFD\uFFFD"));
    EXPECT_EQ(received(textOf(u"\xD83D\xD83D\xDE00")), JSValue("\uFFFD\U0001F600"));
}

TEST_F(CapacitorValues, ReplaceAnUnpairedSurrogateInAKey) {
    EXPECT_EQ(toJSObject(@{textOf(u"\xD83D") : @"x"}), (JSObject{{"\uFFFD", "x"}}));
}

TEST_F(CapacitorValues, TakeWhatIsNoTextAsWhatItIs) {
    constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
    const std::pair<id, JSValue> values[] = {
        {[NSNumber numberWithBool:YES], true},
        {[NSNumber numberWithBool:NO], false},
        {[NSNumber numberWithInt : 1], std::int64_t { 1 }},
        {[NSNumber numberWithLongLong:smallest], smallest},
        {[NSNumber numberWithUnsignedLongLong : 7], std::int64_t { 7 }},
        {[NSNumber numberWithUnsignedLongLong:0xFFFFFFFFFFFFFFFF], 18446744073709551615.0},
        {[NSNumber numberWithDouble:0.5], 0.5},
        {[NSNumber numberWithFloat:0.25F], 0.25},
        {[NSNull null], nullptr},
        {[NSDate date], nullptr},  // which a page cannot send
    };
    for (const auto& [value, expected] : values) {
        EXPECT_EQ(received(value), expected) << [value description].UTF8String;
    }
}

TEST_F(CapacitorValues, TakeArraysAndMaps) {
    NSDictionary* arguments = @{@"list" : @[ @"a", @[], @{@"b" : [NSNull null]} ]};
    EXPECT_EQ(toJSObject(arguments), (JSObject{{"list", JSArray{"a", JSArray{}, JSObject{{"b", nullptr}}}}}));
}

TEST_F(CapacitorValues, HandOverWhatIsNestedTooDeepEmpty) {
    id maps = @"the innermost";
    id arrays = maps;
    for (int level = 0; level < 1'000; ++level) {
        maps = @{@"m" : maps};
        arrays = @[ arrays ];
    }

    int levels = 1;
    const JSObject received = toJSObject(@{@"maps" : maps, @"arrays" : arrays});
    const JSValue* value = received.find("maps");
    for (; value != nullptr; value = value->as<JSObject>()->find("m")) {
        ++levels;
    }
    EXPECT_EQ(levels, 65);
    levels = 1;
    for (value = received.find("arrays"); value != nullptr;) {
        ++levels;
        const auto& array = *value->as<JSArray>();
        value = array.empty() ? nullptr : &array.front();
    }
    EXPECT_EQ(levels, 65);
}

TEST_F(CapacitorValues, SendEachKindAsItself) {
    const std::pair<JSValue, const char*> values[] = {
        {true, "true"},
        {false, "false"},
        {nullptr, "null"},
        {std::int64_t{2}, "2"},
        {0.5, "0.5"},
        {"", "\"\""},
        {JSArray{"a", true, JSObject{{"b", nullptr}}}, "[\"a\",true,{\"b\":null}]"},
    };
    for (const auto& [value, json] : values) {
        EXPECT_EQ(sent(value), json);
    }
}

TEST_F(CapacitorValues, SendEveryCharacterOfAText) {
    const auto unitsSent = [](const std::string& utf8) {
        return AppleStandIns::unitsOf((__bridge CFTypeRef)[toNSDictionary({{"t", utf8}}) objectForKey:@"t"]);
    };
    EXPECT_EQ(unitsSent(std::string("Zo\u00EB\0\U0001F600", 9)), std::u16string(u"Zo\u00EB\0\U0001F600", 6));
    EXPECT_EQ(unitsSent("\uFEFF\uFEFFa\uFEFF"), u"\uFEFF\uFEFFa\uFEFF");
}

TEST_F(CapacitorValues, SendAnErrorWithItsDomainCodeAndUserInfo) {
    ::NSError* error =
        toFoundationError({.domain = "d", .code = -5, .userInfo = {{"NSLocalizedDescription", "No"}}});
    EXPECT_TRUE([error.domain isEqual:@"d"]);
    EXPECT_EQ(error.code, -5);
    EXPECT_TRUE([[error.userInfo objectForKey:@"NSLocalizedDescription"] isEqual:@"No"]);
}

using CapacitorValuesDeathTest = CapacitorValues;

TEST_F(CapacitorValuesDeathTest, StopTheProcessAtATextThatIsNoUTF8) {
    EXPECT_DEATH(toNSDictionary({{"t", "\xFF"}}), "every string of the component must be UTF-8");
}

}  // namespace
}  // namespace KavrelCrypto
