#include <gtest/gtest.h>

#include "platform/Capacitor.hpp"
#include "platform/Foundation.hpp"
#include "tests/support/TestCall.hpp"

namespace KavrelCrypto {
namespace {

TEST(Error, describesItselfWithItsMessage) {
    const NSError error{
        .domain = "D",
        .code = -2,
        .userInfo = {{"NSFailureReason", "why"}, {"NSLocalizedDescription", "What happened"}}};
    EXPECT_EQ(error.localizedDescription(), "What happened");
    EXPECT_EQ(error.description(),
              "Error Domain=D Code=-2 \"What happened\" "
              "UserInfo={NSFailureReason=why, NSLocalizedDescription=What happened}");
}

TEST(Error, hasTheGenericSentenceWithoutAMessage) {
    const NSError error{.domain = "D", .code = 7};
    EXPECT_EQ(error.localizedDescription(), "The operation couldn\xE2\x80\x99t be completed. (D error 7.)");
    EXPECT_EQ(error.description(), "Error Domain=D Code=7 \"(null)\"");
}

TEST(Error, keepsThePlatformsOwnPrintedForm) {
    const NSError error{.domain = "D", .code = 7, .userInfo = {}, .printedForm = "as the platform prints it"};
    EXPECT_EQ(error.description(), "as the platform prints it");
}

TEST(FatalError, namesThePreconditionAndAborts) {
    EXPECT_EXIT(fatalError("a thing is another"), testing::KilledBySignal(SIGABRT),
                "KavrelCrypto: fatal error: a thing is another");
}

TEST(GetString, givesTextsOnly) {
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

TEST(GetString, givesNothingWhenTheCallHasNoArgumentMap) {
    EXPECT_EQ(TestCall(std::nullopt).getString("text"), std::nullopt);
}

}  // namespace
}  // namespace KavrelCrypto
