// What Capacitor has in Swift: how a call is finished, as its CAPPluginCall.swift does it.

#import <Capacitor/Capacitor-Swift.h>

@implementation CAPPluginCallResult

- (instancetype)init:(NSDictionary<NSString*, id>*)data {
    self = [super init];
    _data = [data copy];
    return self;
}

@end

@implementation CAPPluginCallError
@end

@implementation CAPPluginCall (Swift)

- (void)resolve {
    self.successHandler([[CAPPluginCallResult alloc] init:nil], self);
}

- (void)resolve:(NSDictionary<NSString*, id>*)data {
    self.successHandler([[CAPPluginCallResult alloc] init:data], self);
}

// clang-format off
- (void)reject:(NSString*)message
              :(NSString*)code
              :(NSError*)error
              :(NSDictionary<NSString*, id>*)data {
    CAPPluginCallError* failure = [[CAPPluginCallError alloc] init];
    failure.message = message;
    failure.code = code;
    failure.error = error;
    failure.data = data;
    self.errorHandler(failure);
}
// clang-format on

@end
