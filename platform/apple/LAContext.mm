#import <Foundation/Foundation.h>
#import <LocalAuthentication/LocalAuthentication.h>

#include <utility>

#include "platform/LocalAuthentication.hpp"
#include "platform/apple/Handles.hpp"

namespace KavrelCrypto {
namespace {

::LAContext* objectOf(const LAContext& context) {
    return (__bridge ::LAContext*)context.reference.get();
}

std::string utf8Of(NSString* text) {
    const char* utf8 = text.UTF8String;
    return utf8 == nullptr ? std::string() : std::string(utf8);
}

std::optional<NSError> errorOf(::NSError* error) {
    if (error == nil) {
        return std::nullopt;
    }
    return NSError{.domain = utf8Of(error.domain),
                   .code = error.code,
                   .userInfo = {{std::string(KavrelCrypto::NSLocalizedDescriptionKey),
                                 utf8Of(error.localizedDescription)}},
                   .printedForm = utf8Of(error.description)};
}

}  // namespace

// Each operation has a pool of its own, since the thread that calls it need not have one.

LAContextRef makeLAContext() {
    @autoreleasepool {
        return std::make_shared<LAContext>(
            LAContext{CFRef<CFTypeRef>::adopting(CFBridgingRetain([[::LAContext alloc] init]))});
    }
}

bool canEvaluatePolicy(LAContext& context, LAPolicy policy, std::optional<NSError>* error) {
    @autoreleasepool {
        ::NSError* reason = nil;
        const bool possible = [objectOf(context) canEvaluatePolicy:static_cast<::LAPolicy>(policy)
                                                             error:&reason];
        if (!possible) {
            *error = errorOf(reason);
        }
        return possible;
    }
}

void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply) {
    const LAContextRef kept = context;  // a context that goes away takes its prompt with it
    const LAReply answer = std::move(reply);
    @autoreleasepool {
        [objectOf(*context) evaluatePolicy:static_cast<::LAPolicy>(policy)
                           localizedReason:@(localizedReason.c_str())
                                     reply:^(BOOL success, ::NSError* error) {
                                       static_cast<void>(kept);
                                       answer(success, errorOf(error));
                                     }];
    }
}

LABiometryType biometryType(const LAContext& context) {
    return static_cast<LABiometryType>(objectOf(context).biometryType);
}

}  // namespace KavrelCrypto
