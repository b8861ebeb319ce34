#import "ios/DigitalSignPlugin.h"

#include "devices/apple/NSString.hpp"
#include "ios/CapacitorCall.hpp"
#include "plugin/DigitalSignPlugin.hpp"

namespace {

/// Returns the component, which all instances of the class share: no entry point uses the instance that it is
/// called on. It is never destroyed, since a prompt may still be answered while the app ends.
const KavrelCrypto::DigitalSignPlugin& component() {
    static const auto& instance = *new KavrelCrypto::DigitalSignPlugin;
    return instance;
}

NSArray<CAPPluginMethod*>* methodTable() {
    NSMutableArray<CAPPluginMethod*>* table = [NSMutableArray array];
    for (const auto& [name, returnType] : component().pluginMethods()) {
        CAPPluginMethod* entry = [[CAPPluginMethod alloc] initWithName:KavrelCrypto::toNSString(name)
                                                            returnType:KavrelCrypto::toNSString(returnType)];
        if (entry == nil) {
            KavrelCrypto::fatalError("the runtime must make an entry for each of the plugin's methods");
        }
        [table addObject:entry];
    }
    return [table copy];
}

}  // namespace

@implementation DigitalSignPlugin

- (instancetype)init {
    _pluginMethods = methodTable();
    _identifier = KavrelCrypto::toNSString(component().identifier());
    _jsName = KavrelCrypto::toNSString(component().jsName());
    return [super init];
}

// The runtime deprecates this initialiser and still has it.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-implementations"
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
- (instancetype)initWithBridge:(id<CAPBridgeProtocol>)bridge
                      pluginId:(NSString*)pluginId
                    pluginName:(NSString*)pluginName {
    _pluginMethods = methodTable();
    _identifier = KavrelCrypto::toNSString(component().identifier());
    _jsName = KavrelCrypto::toNSString(component().jsName());
    return [super initWithBridge:bridge pluginId:pluginId pluginName:pluginName];
}
#pragma clang diagnostic pop

// The entry points, from the component's list of its methods.
#define ADVERTISED(name)
#define METHOD(name)                                             \
    -(void)name : (CAPPluginCall*)call {                         \
        component().name(KavrelCrypto::makeCapacitorCall(call)); \
    }
KAVREL_CRYPTO_METHODS(ADVERTISED, METHOD)
#undef ADVERTISED
#undef METHOD

@end
