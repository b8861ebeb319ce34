#import <Foundation/Foundation.h>
#import <LocalAuthentication/LocalAuthentication.h>

#include <utility>

#include "devices/apple/Handles.hpp"
#include "devices/apple/NSString.hpp"
#include "platform/LocalAuthentication.hpp"

namespace KavrelCrypto {
namespace {

::LAContext* objectOf(const LAContext& context) {
    return (__bridge ::LAContext*)context.reference.get();
}

std::optional<NSError> toNSError(::NSError* error) {
    if (error == nil) {
        return std::nullopt;
    }
    return NSError{.domain = toString(error.domain),
                   .code = error.code,
                   .userInfo = {{std::string(KavrelCrypto::NSLocalizedDescriptionKey),
                                 toString(error.localizedDescription)}},
                   .printedForm = toString(error.description)};
}

}  // namespace

// Each operation has an autorelease pool of its own, because the calling thread may not have one.

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
            *error = toNSError(reason);
        }
        return possible;
    }
}

void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply) {
    const LAContextRef kept = context;  // a context that is released takes its prompt with it
    const auto answer = std::make_shared<const LAReply>(std::move(reply));  // blocks copy what they capture
    @autoreleasepool {
        [objectOf(*context) evaluatePolicy:static_cast<::LAPolicy>(policy)
                           localizedReason:toNSString(localizedReason)
                                     reply:^(BOOL success, ::NSError* error) {
                                       static_cast<void>(kept);
                                       (*answer)(success, toNSError(error));
                                     }];
    }
}

LABiometryType biometryType(const LAContext& context) {
    return static_cast<LABiometryType>(objectOf(context).biometryType);
}

}  // namespace KavrelCrypto
