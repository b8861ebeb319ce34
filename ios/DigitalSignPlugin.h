#import <Capacitor/CAPBridgedPlugin.h>
#import <Capacitor/CAPPlugin.h>

/// The plugin "DigitalSign", as the Capacitor runtime meets it. The runtime makes it by its name and performs
/// the entry points by theirs; each takes one call and finishes it exactly once. "setStyle" is in the table
/// and has no entry point, on purpose.
@interface DigitalSignPlugin : CAPPlugin <CAPBridgedPlugin>

@property (nonnull, readonly) NSArray<CAPPluginMethod*>* pluginMethods;
@property (nonnull, readonly) NSString* identifier;
@property (nonnull, readonly) NSString* jsName;

- (nonnull instancetype)init;
- (nonnull instancetype)initWithBridge:(nonnull id<CAPBridgeProtocol>)bridge
                              pluginId:(nonnull NSString*)pluginId
                            pluginName:(nonnull NSString*)pluginName;

- (void)hasKey:(nonnull CAPPluginCall*)call;
- (void)getKeyInfo:(nonnull CAPPluginCall*)call;
- (void)deleteKey:(nonnull CAPPluginCall*)call;
- (void)storeCertificate:(nonnull CAPPluginCall*)call;
- (void)getCertificate:(nonnull CAPPluginCall*)call;
- (void)createCSR:(nonnull CAPPluginCall*)call;
- (void)signDigest:(nonnull CAPPluginCall*)call;
- (void)ensureKey:(nonnull CAPPluginCall*)call;
- (void)getBiometricStatus:(nonnull CAPPluginCall*)call;

@end
