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

- (instancetype)init:(NSString*)message
                code:(NSString*)code
               error:(NSError*)error
                data:(NSDictionary<NSString*, id>*)data {
    self = [super init];
    _message = [message copy];
    _code = [code copy];
    _error = error;
    _data = [data copy];
    return self;
}

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
    self.errorHandler([[CAPPluginCallError alloc] init:message code:code error:error data:data]);
}
// clang-format on

@end
