// The plugin class, as the runtime makes and calls it.

#import "ios/DigitalSignPlugin.h"

#import <Capacitor/Capacitor-Swift.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>

#include <cstdlib>
#include <memory>
#include <thread>

#include "apple/objc/ObjectiveCTest.hpp"

/// A call of which there is an account.
@interface CountedCall : CAPPluginCall
@end

static int callsAlive = 0;

@implementation CountedCall

- (instancetype)initWithCallbackId:(NSString*)callbackId
                        methodName:(NSString*)methodName
                           options:(NSDictionary*)options
                           success:(CAPPluginCallSuccessHandler)success
                             error:(CAPPluginCallErrorHandler)error {
    ++callsAlive;
    return [super initWithCallbackId:callbackId
                          methodName:methodName
                             options:options
                             success:success
                               error:error];
}

- (void)dealloc {
    --callsAlive;
}

@end

/// The runtime's side of a plugin that was made with it.
@interface Bridge : NSObject <CAPBridgeProtocol>
@end

@implementation Bridge
@synthesize viewController, webView, config;

- (CAPPluginCall*)savedCallWithID:(NSString*)callbackId {
    static_cast<void>(callbackId);
    return nil;
}

- (void)releaseCallWithID:(NSString*)callbackId {
    static_cast<void>(callbackId);
}

@end

namespace KavrelCrypto {
namespace {

using testing::ElementsAre;

/// How a call was finished, as it goes to the page.
struct Answer {
    int resolved = 0;
    int rejected = 0;
    NSDictionary* result = nil;
    CAPPluginCallError* failure = nil;
    std::thread::id thread{};

    /// The result in JSON, without blanks.
    [[nodiscard]] std::string json() const {
        NSData* bytes = [NSJSONSerialization dataWithJSONObject:result options:0 error:nullptr];
        std::string text(static_cast<const char*>(bytes.bytes), bytes.length);
        std::erase(text, ' ');
        return text;
    }
};

class PluginClass : public ObjectiveCTest {
  protected:
    ~PluginClass() override {
        @autoreleasepool {
            plugin_ = nil;
        }
    }

    /// Performs a method's selector with a new call, as the runtime does, and lets the call go. The answer
    /// may come later.
    std::shared_ptr<Answer> perform(NSString* method, NSDictionary* options) {
        auto answer = std::make_shared<Answer>();
        @autoreleasepool {
            CAPPluginCall* call = [[CountedCall alloc] initWithCallbackId:@"1"
                methodName:method
                options:options
                success:^(CAPPluginCallResult* result, CAPPluginCall*) {
                  ++answer->resolved;
                  answer->result = result.data;
                  answer->thread = std::this_thread::get_id();
                }
                error:^(CAPPluginCallError* error) {
                  ++answer->rejected;
                  answer->failure = error;
                  answer->thread = std::this_thread::get_id();
                }];
            const SEL selector = NSSelectorFromString([method stringByAppendingString:@":"]);
            // By way of void(), since Clang 19 warns of a direct cast that any caller of an IMP has to make.
            const auto entryPoint = reinterpret_cast<void (*)(id, SEL, CAPPluginCall*)>(
                reinterpret_cast<void (*)()>([plugin_ methodForSelector:selector]));
            entryPoint(plugin_, selector, call);
        }
        return answer;
    }

    static NSString* messageOf(const Answer& answer) {
        EXPECT_EQ(answer.resolved, 0);
        EXPECT_EQ(answer.rejected, 1);
        return answer.failure.message;
    }

    static void drainUntilFinished(const Answer& answer) {
        @autoreleasepool {
            AppleStandIns::runMainQueueUntil([&] { return answer.resolved + answer.rejected > 0; });
        }
    }

    NSDictionary* person() const {
        return @{@"nationalCode" : @"0012345678"};
    }

    DigitalSignPlugin* plugin_ = [[DigitalSignPlugin alloc] init];
};

std::vector<std::string> namesOf(id<CAPBridgedPlugin> plugin) {
    std::vector<std::string> names;
    for (CAPPluginMethod* method in plugin.pluginMethods) {
        names.emplace_back(method.name.UTF8String);
    }
    return names;
}

void expectTheThreeMembers(id<CAPBridgedPlugin> plugin) {
    EXPECT_THAT(namesOf(plugin),
                ElementsAre("setStyle", "hasKey", "getKeyInfo", "deleteKey", "storeCertificate",
                            "getCertificate", "createCSR", "signDigest", "ensureKey", "getBiometricStatus"));
    EXPECT_TRUE([plugin.identifier isEqual:@"DigitalSignPlugin"]);
    EXPECT_TRUE([plugin.jsName isEqual:@"DigitalSign"]);
}

DigitalSignPlugin* pluginWithABridge(Bridge* bridge) {
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
    Bridge* bridge = [[Bridge alloc] init];
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

TEST_F(PluginClass, PromisesAnAnswerForEachMethodAndRespondsToAllButSetStyle) {
    for (CAPPluginMethod* method in plugin_.pluginMethods) {
        EXPECT_TRUE([method.returnType isEqual:@"promise"]) << method.name.UTF8String;
        EXPECT_EQ([plugin_ respondsToSelector:method.selector], ![method.name isEqual:@"setStyle"])
            << method.name.UTF8String;
    }
}

TEST_F(PluginClass, HandsEachCallToTheMethodOfItsName) {
    const std::pair<NSString*, const char*> answers[] = {
        {@"hasKey", "{\"exists\":false}"},         {@"getKeyInfo", "not found"},
        {@"deleteKey", "{\"deleted\":true}"},      {@"storeCertificate", "Provide certPem"},
        {@"getCertificate", "{\"certPem\":null}"}, {@"createCSR", "userInfo required"},
        {@"signDigest", "invalid digestB64"},      {@"ensureKey", "{\"ok\":true}"},
    };
    for (const auto& [method, expected] : answers) {
        const auto answer = perform(method, person());
        EXPECT_EQ(answer->resolved == 1 ? answer->json() : messageOf(*answer).UTF8String,
                  std::string(expected));
    }
    NSDictionary* status = perform(@"getBiometricStatus", @{})->result;
    EXPECT_TRUE([[status objectForKey:@"status"] isEqual:@"BIOMETRIC_SUCCESS"]);
}

TEST_F(PluginClass, FinishesTheOtherCallsBeforeItReturnsAndLetsThemGo) {
    const auto answer = perform(@"hasKey", person());
    EXPECT_EQ(answer->resolved, 1);
    EXPECT_EQ(callsAlive, 0);
}

TEST_F(PluginClass, KeepsAPendingSignatureCallUntilItIsFinished) {
    AppleStandIns::answerPrompts(AppleStandIns::Answer::match);
    perform(@"ensureKey", person());

    const auto answer = perform(@"signDigest", @{@"nationalCode" : @"0012345678", @"digestB64" : @"AAEC"});
    EXPECT_EQ(answer->resolved, 0);
    EXPECT_EQ(callsAlive, 1);

    drainUntilFinished(*answer);
    EXPECT_EQ(answer->resolved, 1);
    EXPECT_TRUE(answer->thread == std::this_thread::get_id());
    EXPECT_EQ([[answer->result objectForKey:@"signatureB64"] length], 344U);
    AppleStandIns::startNewSensor();  // its thread may still be on its way out of the reply
    EXPECT_EQ(callsAlive, 0);
    EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
}

TEST_F(PluginClass, KeepsNothingOfASignatureCallThatItRejectsWithoutAPrompt) {
    AppleStandIns::setBiometrics(LABiometryType::faceID, false, false);

    const auto answer = perform(@"signDigest", @{@"nationalCode" : @"0012345678", @"digestB64" : @"AAEC"});
    EXPECT_TRUE([messageOf(*answer) isEqual:@"sign_failed"]);
    EXPECT_EQ(callsAlive, 0);
    EXPECT_EQ(AppleStandIns::contextsAlive(), 0);
}

using PluginClassDeathTest = PluginClass;

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
}  // namespace KavrelCrypto
