// The plugin class, as the runtime makes and calls it.

#import "ios/DigitalSignPlugin.h"

#import <Capacitor/Capacitor-Swift.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>

#include <cstdlib>

#include "apple/AppleDeviceTest.hpp"
#include "devices/apple/NSString.hpp"
#include "ios/CapacitorCall.hpp"
#include "ios/JSValues.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tests/support/DeviceUnderTest.hpp"

/// What the runtime's side of a plugin is asked for.
@interface Bridge : NSObject
@property (nonatomic, readonly) WKWebView* webView;
@end

@implementation Bridge
@end

namespace {

using KavrelCrypto::JSObject;
using KavrelCrypto::TestCall;
using KavrelCrypto::TestCallRef;
using KavrelCrypto::toString;
using testing::ElementsAre;

std::optional<std::string> textOf(NSString* string) {
    return string == nil ? std::nullopt : std::optional(toString(string));
}

/// Makes a call as the runtime does, and tells `answer` how it is finished. As long as there is the call,
/// somebody else owns `answer`, too.
CAPPluginCall* callOf(NSString* method, NSDictionary* options, TestCallRef answer) {
    return [[CAPPluginCall alloc] initWithCallbackId:@"1"
        methodName:method
        options:options
        success:^(CAPPluginCallResult* result, CAPPluginCall*) {
          answer->resolve(KavrelCrypto::toJSObject(result.data));
        }
        error:^(CAPPluginCallError* failure) {
          std::optional<KavrelCrypto::NSError> error;
          if (failure.error != nil) {
              error = {.domain = toString(failure.error.domain), .code = failure.error.code};
          }
          std::optional<JSObject> data;
          if (failure.data != nil) {
              data = KavrelCrypto::toJSObject(failure.data);
          }
          answer->reject(toString(failure.message), textOf(failure.code), error, data);
        }];
}

class PluginClass : public KavrelCrypto::AppleDeviceTest {
  protected:
    ~PluginClass() override {
        @autoreleasepool {
            plugin_ = nil;
        }
    }

    /// Performs a method's selector with a new call, as the runtime does, and lets the call go. The answer
    /// may come later.
    TestCallRef perform(NSString* method, NSDictionary* options) {
        auto answer = std::make_shared<TestCall>(std::nullopt);
        @autoreleasepool {
            const SEL selector = NSSelectorFromString([method stringByAppendingString:@":"]);
            // By way of void(), since Clang 19 warns of a direct cast that any caller of an IMP has to make.
            const auto entryPoint = reinterpret_cast<void (*)(id, SEL, CAPPluginCall*)>(
                reinterpret_cast<void (*)()>([plugin_ methodForSelector:selector]));
            entryPoint(plugin_, selector, callOf(method, options, answer));
        }
        return answer;
    }

    NSDictionary* const person_ = @{@"nationalCode" : @"0012345678"};
    NSDictionary* const digest_ = @{@"nationalCode" : @"0012345678", @"digestB64" : @"AAEC"};
    DigitalSignPlugin* plugin_ = [[DigitalSignPlugin alloc] init];
};

void expectTheThreeMembers(id<CAPBridgedPlugin> plugin) {
    std::vector<KavrelCrypto::CAPPluginMethod> table;
    for (CAPPluginMethod* method in plugin.pluginMethods) {
        table.push_back({toString(method.name), toString(method.returnType)});
    }
    EXPECT_EQ(table, KavrelCrypto::DigitalSignPlugin().pluginMethods());
    EXPECT_TRUE([plugin.identifier isEqual:@"DigitalSignPlugin"]);
    EXPECT_TRUE([plugin.jsName isEqual:@"DigitalSign"]);
}

DigitalSignPlugin* pluginWithABridge(id bridge) {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    return [[DigitalSignPlugin alloc] initWithBridge:bridge pluginId:@"an id" pluginName:@"a name"];
#pragma clang diagnostic pop
}

TEST_F(PluginClass, IsFoundByTheNameThatTheRuntimeIsGiven) {
    Class found = NSClassFromString(@"DigitalSignPlugin");
    EXPECT_TRUE([found isSubclassOfClass:[CAPPlugin class]]);
}

TEST_F(PluginClass, HasItsThreeMembersAfterEitherInitialiserAndPassesTheArgumentsOn) {
    id bridge = [[Bridge alloc] init];
    DigitalSignPlugin* plugin = pluginWithABridge(bridge);
    expectTheThreeMembers(plugin_);
    expectTheThreeMembers(plugin);
    EXPECT_TRUE(plugin.bridge == bridge);
    EXPECT_TRUE([plugin.pluginId isEqual:@"an id"]);
    EXPECT_TRUE([plugin.pluginName isEqual:@"a name"]);
}

/// Lets a method of a class do something else, until the end of the scope.
class ReplacedMethod {
  public:
    ReplacedMethod(Class class_, SEL selector, IMP implementation)
        : method_(class_getInstanceMethod(class_, selector)),
          original_(method_setImplementation(method_, implementation)) {}
    ReplacedMethod(const ReplacedMethod&) = delete;
    ReplacedMethod& operator=(const ReplacedMethod&) = delete;
    ~ReplacedMethod() {
        method_setImplementation(method_, original_);
    }

  private:
    const Method method_;
    const IMP original_;
};

int baseInitialisations = 0;

/// Stands in for the base class's initialisers, which need the members already.
id initialiseBase(id plugin, SEL, ...) {
    if ([plugin isKindOfClass:[DigitalSignPlugin class]]) {
        ++baseInitialisations;
        expectTheThreeMembers(plugin);
    }
    return plugin;
}

TEST_F(PluginClass, SetsItsThreeMembersBeforeItCallsTheBaseInitialiser) {
    baseInitialisations = 0;
    {
        const ReplacedMethod replaced([CAPPlugin class], @selector(init),
                                      reinterpret_cast<IMP>(initialiseBase));
        (void)[[DigitalSignPlugin alloc] init];
    }
    EXPECT_EQ(baseInitialisations, 1);
    {
        const ReplacedMethod replaced([CAPPlugin class], @selector(initWithBridge:pluginId:pluginName:),
                                      reinterpret_cast<IMP>(initialiseBase));
        (void)pluginWithABridge(nil);
    }
    EXPECT_EQ(baseInitialisations, 2);
}

TEST_F(PluginClass, StoresItsThreeMembersInOrderAndNothingElse) {
    unsigned count = 0;
    Ivar* members = class_copyIvarList([DigitalSignPlugin class], &count);
    std::vector<std::string> names;
    for (unsigned index = 0; index < count; ++index) {
        names.emplace_back(ivar_getName(members[index]));
    }
    std::free(members);
    EXPECT_THAT(names, ElementsAre("_pluginMethods", "_identifier", "_jsName"));
}

TEST_F(PluginClass, AnswersEachCallAsTheComponentsMethodOfItsNameDoes) {
    const KavrelCrypto::DigitalSignPlugin component;
    for (const auto& [name, entryPoint] : KavrelCrypto::DigitalSignPlugin::methods()) {
        SCOPED_TRACE(name);
        NSString* method = KavrelCrypto::toNSString(std::string(name));
        const SEL selector = NSSelectorFromString([method stringByAppendingString:@":"]);
        ASSERT_EQ([plugin_ respondsToSelector:selector], entryPoint != nullptr);
        if (entryPoint == nullptr) {
            continue;
        }
        const auto expected = std::make_shared<TestCall>(KavrelCrypto::toJSObject(person_));
        component.perform(name, expected);
        const TestCallRef answer = perform(method, person_);
        EXPECT_EQ(answer->rejections, expected->rejections);
        ASSERT_EQ(answer->results.size(), expected->results.size());
        if (!answer->results.empty()) {  // their members may come in another order
            EXPECT_TRUE([KavrelCrypto::toNSDictionary(answer->results.front())
                isEqual:KavrelCrypto::toNSDictionary(expected->results.front())]);
        }
        EXPECT_EQ(answer.use_count(), 1) << "the call is kept";
    }
}

TEST_F(PluginClass, KeepsAPendingSignatureCallUntilItIsFinished) {
    using namespace KavrelCrypto::DeviceUnderTest;
    answerPrompts(PromptAnswer::match);
    perform(@"ensureKey", person_);

    const TestCallRef answer = perform(@"signDigest", digest_);
    EXPECT_EQ(answer->timesFinished(), 0U);
    EXPECT_GT(answer.use_count(), 1);

    @autoreleasepool {
        AppleStandIns::runMainQueueUntil([&] { return answer->timesFinished() > 0; });
    }
    ASSERT_EQ(answer->results.size(), 1U);
    EXPECT_EQ(answer->finishedOn, std::this_thread::get_id());
    EXPECT_EQ(answer->results.front().find("signatureB64")->as<std::string>()->size(), 344U);
    AppleStandIns::startNew();  // the sensor's thread may still be on its way out of the reply
    EXPECT_EQ(answer.use_count(), 1);
    EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
}

TEST_F(PluginClass, KeepsNothingOfASignatureCallThatItRejectsWithoutAPrompt) {
    KavrelCrypto::DeviceUnderTest::setBiometrics(KavrelCrypto::LABiometryType::faceID, false, false);

    const TestCallRef answer = perform(@"signDigest", digest_);
    EXPECT_THAT(answer->rejections, ElementsAre(TestCall::Rejection{"sign_failed"}));
    EXPECT_EQ(answer.use_count(), 1);
    EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
}

TEST_F(PluginClass, RejectsACallWithACodeAnErrorAndData) {
    const auto answer = std::make_shared<TestCall>(std::nullopt);
    const TestCall::Rejection whole = {
        "message", "code", KavrelCrypto::NSError{.domain = "domain", .code = 5}, JSObject{{"a", "b"}}};
    KavrelCrypto::makeCapacitorCall(callOf(@"hasKey", @{}, answer))
        ->reject(whole.message, whole.code, whole.error, whole.data);
    EXPECT_THAT(answer->rejections, ElementsAre(whole));
}

using PluginClassDeathTest = PluginClass;

TEST_F(PluginClassDeathTest, HasNoArgumentMapWhereTheRuntimeBroughtNone) {
    EXPECT_DEATH(perform(@"createCSR", nil), "a \"createCSR\" call must have an argument map");
}

id makeNothing(id, SEL, id, id) {
    return nil;
}

TEST_F(PluginClassDeathTest, StopsTheProcessThroughEitherInitialiserWhenTheRuntimeMakesNoEntryForAMethod) {
    const ReplacedMethod replaced([CAPPluginMethod class], @selector(initWithName:returnType:),
                                  reinterpret_cast<IMP>(makeNothing));
    const char* const reason = "the runtime must make an entry for each of the plugin's methods";
    EXPECT_DEATH((void)[[DigitalSignPlugin alloc] init], reason);
    EXPECT_DEATH((void)pluginWithABridge(nil), reason);
}

}  // namespace
