#pragma once

// What Capacitor has in Swift and its Objective-C sources use: the declarations that Xcode makes of it.

#include <UIKit/UIKit.h>

#include <Capacitor/CAPPluginCall.h>

@class PluginConfig;
@class WKWebView;

@interface InstanceConfiguration : NSObject
- (nullable id)getPluginConfigValue:(nonnull NSString*)pluginId:(nonnull NSString*)configKey;
- (nonnull PluginConfig*)getPluginConfig:(nonnull NSString*)pluginId;
@end

@protocol CAPBridgeProtocol <NSObject>
@property (nonatomic, readonly, strong) UIViewController* _Nullable viewController;
@property (nonatomic, readonly, strong) WKWebView* _Nullable webView;
@property (nonatomic, readonly, strong) InstanceConfiguration* _Nonnull config;
- (nullable CAPPluginCall*)savedCallWithID:(nonnull NSString*)callbackId;
- (void)releaseCallWithID:(nonnull NSString*)callbackId;
@end

@interface CAPPluginCallResult : NSObject
@property (nonatomic, readonly, copy) NSDictionary<NSString*, id>* _Nullable data;
- (nonnull instancetype)init:(nullable NSDictionary<NSString*, id>*)data;
@end

@interface CAPPluginCallError : NSObject
@property (nonatomic, copy) NSString* _Nonnull message;
@property (nonatomic, copy) NSString* _Nullable code;
@property (nonatomic, copy) NSError* _Nullable error;
@property (nonatomic, copy) NSDictionary<NSString*, id>* _Nullable data;
@end

@interface CAPPluginCall (Swift)
- (void)resolve;
- (void)resolve:(nonnull NSDictionary<NSString*, id>*)data;
// clang-format off
- (void)reject:(nonnull NSString*)message
              :(nullable NSString*)code
              :(nullable NSError*)error
              :(nullable NSDictionary<NSString*, id>*)data;
// clang-format on
@end
