#pragma once

// A stand-in for LocalAuthentication: the declarations that the Apple device uses, as Apple documents them.

#include <Foundation/Foundation.h>

typedef NS_ENUM(NSInteger, LAPolicy) {
    LAPolicyDeviceOwnerAuthenticationWithBiometrics = 1,
};

typedef NS_ENUM(NSInteger, LABiometryType) {
    LABiometryTypeNone = 0,
    LABiometryTypeTouchID = 1,
    LABiometryTypeFaceID = 2,
    LABiometryTypeOpticID = 4,
};

@interface LAContext : NSObject

@property (nonatomic, readonly) LABiometryType biometryType;

- (BOOL)canEvaluatePolicy:(LAPolicy)policy error:(NSError* _Nullable __autoreleasing* _Nullable)error;
- (void)evaluatePolicy:(LAPolicy)policy
       localizedReason:(NSString* _Nonnull)localizedReason
                 reply:(void (^_Nonnull)(BOOL success, NSError* _Nullable error))reply;

@end
