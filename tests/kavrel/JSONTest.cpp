#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "tools/kavrel/JSON.hpp"

namespace KavrelCrypto::Host {
namespace {

std::string errorOf(const std::string& text) {
    try {
        (void)parseJSON(text);
        return "no error";
    } catch (const JSONError& error) {
        return error.what();
    }
}

TEST(ParseJSON, GivesEachKindOfValueAsItself) {
    EXPECT_EQ(parseJSON("null"), JSValue(nullptr));
    EXPECT_EQ(parseJSON("true"), JSValue(true));
    EXPECT_EQ(parseJSON("false"), JSValue(false));
    EXPECT_EQ(parseJSON("-7"), JSValue(std::int64_t{-7}));
    EXPECT_EQ(parseJSON("7.0"), JSValue(7.0));
    EXPECT_EQ(parseJSON("\"7\""), JSValue("7"));
    EXPECT_EQ(parseJSON("[]"), JSValue(JSArray{}));
    EXPECT_EQ(parseJSON("{}"), JSValue(JSObject{}));
}

TEST(ParseJSON, KeepsMembersAndElementsInOrder) {
    EXPECT_EQ(parseJSON(R"({"b":[1,"x",[null]],"a":{"z":true,"y":{}},"":0.5})"),
              JSValue(JSObject{{"b", JSArray{std::int64_t{1}, "x", JSArray{nullptr}}},
                               {"a", JSObject{{"z", true}, {"y", JSObject{}}}},
                               {"", 0.5}}));
}

TEST(ParseJSON, LetsTheLastOfMembersWithOneNameCountInThePlaceOfTheFirst) {
    EXPECT_EQ(parseJSON(R"({"a":1,"b":2,"a":{"c":3,"c":4},"b":5})"),
              JSValue(JSObject{{"a", JSObject{{"c", std::int64_t{4}}}}, {"b", std::int64_t{5}}}));
    EXPECT_EQ(parseJSON(R"({"b":1,"a":2,"b":3,"c":4,"b":5,"a":6,"b":7})"),
              JSValue(JSObject{{"b", std::int64_t{7}}, {"a", std::int64_t{6}}, {"c", std::int64_t{4}}}));
}

TEST(ParseJSON, GivesIntegersExactlyAsLongAsTheyFit) {
    EXPECT_EQ(parseJSON("9223372036854775807"), JSValue(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ(parseJSON("-9223372036854775808"), JSValue(std::numeric_limits<std::int64_t>::min()));
}

TEST(ParseJSON, GivesLargerIntegersAsDoubles) {
    EXPECT_EQ(parseJSON("9223372036854775808"), JSValue(9223372036854775808.0));
    EXPECT_EQ(parseJSON("18446744073709551615"), JSValue(18446744073709551615.0));
    EXPECT_EQ(parseJSON("-9223372036854775809"), JSValue(-9223372036854775809.0));
    EXPECT_EQ(parseJSON("1000000000000000000000"), JSValue(1e21));
}

TEST(ParseJSON, RefusesANumberPastEveryDouble) {
    EXPECT_EQ(errorOf("[1e309]"), "line 1, column 6: a number that is too large");
}

TEST(ParseJSON, RefusesANULByteEvenAfterAWholeValue) {
    EXPECT_EQ(errorOf(std::string("{}\0{", 4)),
              "line 1, column 3: a NUL character; write it \\u0000, within a string");
}

TEST(ParseJSON, CountsLinesAndCharactersToWhereItWentWrong) {
    EXPECT_EQ(errorOf("x"), "line 1, column 1: syntax error while parsing value - invalid literal");
    EXPECT_EQ(errorOf("[\n\"é👍\", x"),
              "line 2, column 7: syntax error while parsing value - invalid literal");
    EXPECT_EQ(errorOf("[\n\n,"),
              "line 3, column 1: syntax error while parsing value - unexpected ','; "
              "expected '[', '{', or a literal");
}

TEST(ParseJSON, LeavesAnUnreadableTextOutOfItsReason) {
    EXPECT_EQ(errorOf("\"\x1b[31m\xff; last read: ; expected"),
              "line 1, column 2: syntax error while parsing value - invalid string: control character U+001B "
              "(ESC) must be escaped to \\u001B");
}

TEST(ParseJSON, RefusesWhatIsNestedDeeperThan512Levels) {
    const auto nested = [](std::size_t levels) {
        return std::string(levels, '[') + std::string(levels, ']');
    };
    EXPECT_EQ(errorOf(nested(512)), "no error");
    EXPECT_EQ(errorOf(nested(513)), "values are nested deeper than 512 levels");
    EXPECT_EQ(errorOf(std::string(10'000'000, '[')), "values are nested deeper than 512 levels");
}

TEST(WriteJSON, WritesOneLineWithMembersInOrder) {
    EXPECT_EQ(writeJSON(JSObject{{"b", JSArray{nullptr, true, std::int64_t{-1}, 1.5}}, {"a", JSObject{}}}),
              R"({"b":[null,true,-1,1.5],"a":{}})");
}

TEST(WriteJSON, EscapesOnlyWhatJSONMustEscape) {
    EXPECT_EQ(writeJSON(JSValue(std::string("\"\\/\r\n\t\x1f\0é👍", 14))), R"("\"\\/\r\n\t\u001f\u0000é👍")");
}

TEST(WriteJSON, ReplacesBytesThatAreNoUTF8) {
    EXPECT_EQ(writeJSON(JSValue("a\xff\xed\xa0\x80z")), "\"a\uFFFD\uFFFD\uFFFD\uFFFDz\"");
}

}  // namespace
}  // namespace KavrelCrypto::Host
