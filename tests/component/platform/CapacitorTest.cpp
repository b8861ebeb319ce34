#include <gtest/gtest.h>

#include "tests/support/TestCall.hpp"

namespace KavrelCrypto {
namespace {

TEST(CAPPluginCallGetString, ReturnsStringsOnly) {
    const TestCall call(JSObject{
        {"text", "a"},
        {"empty", ""},
        {"null", nullptr},
        {"boolean", true},
        {"integer", std::int64_t{123}},
        {"number", 1.5},
        {"array", JSArray{"a"}},
        {"object", JSObject{{"text", "a"}}},
    });
    EXPECT_EQ(call.getString("text"), "a");
    EXPECT_EQ(call.getString("empty"), "");
    for (const char* key :
         {"null", "boolean", "integer", "number", "array", "object", "missing", "Text", "text "}) {
        EXPECT_EQ(call.getString(key), std::nullopt) << key;
    }
}

TEST(CAPPluginCallGetString, ReturnsNothingWhenTheCallHasNoArgumentMap) {
    EXPECT_EQ(TestCall(std::nullopt).getString("text"), std::nullopt);
}

}  // namespace
}  // namespace KavrelCrypto
