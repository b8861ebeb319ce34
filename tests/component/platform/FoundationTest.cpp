#include <gtest/gtest.h>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {
namespace {

TEST(NSError, DescribesItselfWithItsMessage) {
    const NSError error{
        .domain = "D",
        .code = -2,
        .userInfo = {{"NSFailureReason", "why"}, {"NSLocalizedDescription", "What happened"}}};
    EXPECT_EQ(error.localizedDescription(), "What happened");
    EXPECT_EQ(error.description(),
              "Error Domain=D Code=-2 \"What happened\" "
              "UserInfo={NSFailureReason=why, NSLocalizedDescription=What happened}");
}

TEST(NSError, HasTheGenericDescriptionWithoutAMessage) {
    const NSError error{.domain = "D", .code = 7};
    EXPECT_EQ(error.localizedDescription(), "The operation couldn\xE2\x80\x99t be completed. (D error 7.)");
    EXPECT_EQ(error.description(), "Error Domain=D Code=7 \"(null)\"");
}

TEST(NSError, KeepsThePlatformsOwnPrintedForm) {
    const NSError error{.domain = "D", .code = 7, .userInfo = {}, .printedForm = "as the platform prints it"};
    EXPECT_EQ(error.description(), "as the platform prints it");
}

TEST(FatalError, NamesThePreconditionAndAborts) {
    EXPECT_EXIT(fatalError("a thing must be another"), testing::KilledBySignal(SIGABRT),
                "KavrelCrypto: precondition failed: a thing must be another");
}

}  // namespace
}  // namespace KavrelCrypto
