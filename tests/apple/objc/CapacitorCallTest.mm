// A call of the page as the component takes it.

#include "ios/CapacitorCall.hpp"

#import <Capacitor/Capacitor-Swift.h>

#include <gtest/gtest.h>

#include "apple/objc/ObjectiveCTest.hpp"

namespace KavrelCrypto {
namespace {

class CapacitorCalls : public ObjectiveCTest {
  protected:
    ~CapacitorCalls() override {
        @autoreleasepool {
            result_ = nil;
            failure_ = nil;
        }
    }

    CAPPluginCallRef callWith(NSDictionary* options) {
        return makeCapacitorCall([[::CAPPluginCall alloc] initWithCallbackId:@"1"
            methodName:@"hasKey"
            options:options
            success:^(CAPPluginCallResult* result, ::CAPPluginCall*) {
              result_ = result;
            }
            error:^(CAPPluginCallError* failure) {
              failure_ = failure;
            }]);
    }

    CAPPluginCallResult* result_ = nil;
    CAPPluginCallError* failure_ = nil;
};

TEST_F(CapacitorCalls, BringTheirArguments) {
    EXPECT_EQ(*callWith(@{@"a" : @"b"})->options(), (JSObject{{"a", "b"}}));
}

TEST_F(CapacitorCalls, HaveNoArgumentMapWhereTheRuntimeBroughtNone) {
    EXPECT_EQ(callWith(nil)->options(), nullptr);
}

TEST_F(CapacitorCalls, ResolveWithAResult) {
    callWith(@{})->resolve({{"a", "b"}});
    EXPECT_TRUE([result_.data isEqual:@{@"a" : @"b"}]);
    EXPECT_TRUE(failure_ == nil);
}

TEST_F(CapacitorCalls, RejectWithAMessageAlone) {
    callWith(@{})->reject("message", std::nullopt, std::nullopt, std::nullopt);
    EXPECT_TRUE([failure_.message isEqual:@"message"]);
    EXPECT_TRUE(failure_.code == nil);
    EXPECT_TRUE(failure_.error == nil);
    EXPECT_TRUE(failure_.data == nil);
    EXPECT_TRUE(result_ == nil);
}

TEST_F(CapacitorCalls, RejectWithACodeAnErrorAndData) {
    callWith(@{})->reject("message", "code", NSError{.domain = "domain", .code = 5}, JSObject{{"a", "b"}});
    EXPECT_TRUE([failure_.code isEqual:@"code"]);
    EXPECT_TRUE([failure_.error.domain isEqual:@"domain"]);
    EXPECT_EQ(failure_.error.code, 5);
    EXPECT_TRUE([failure_.data isEqual:@{@"a" : @"b"}]);
}

}  // namespace
}  // namespace KavrelCrypto
