#import <Capacitor/CAPBridgedPlugin.h>
#import <Capacitor/CAPPlugin.h>

/// The plugin "DigitalSign", as the Capacitor runtime meets it. The runtime makes it by its name, reads
/// pluginMethods, and performs each method by its name: `- (void)hasKey:(CAPPluginCall*)call` and so on. An
/// entry point takes one call and settles it exactly once. On purpose, "setStyle" is in the table and has no
/// entry point.
@interface DigitalSignPlugin : CAPPlugin <CAPBridgedPlugin>

@property (nonnull, readonly) NSArray<CAPPluginMethod*>* pluginMethods;
@property (nonnull, readonly) NSString* identifier;
@property (nonnull, readonly) NSString* jsName;

- (nonnull instancetype)init;
- (nonnull instancetype)initWithBridge:(nonnull id<CAPBridgeProtocol>)bridge
                              pluginId:(nonnull NSString*)pluginId
                            pluginName:(nonnull NSString*)pluginName;

@end
