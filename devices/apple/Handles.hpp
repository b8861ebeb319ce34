#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <memory>

#include "devices/apple/CFRef.hpp"
#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"

/// The handles of the seam. Each owns one reference to the framework's object.
namespace KavrelCrypto {

class SecKey {
  public:
    CFRef<::SecKeyRef> reference;
};

class SecCertificate {
  public:
    CFRef<::SecCertificateRef> reference;
};

class SecPolicy {
  public:
    CFRef<::SecPolicyRef> reference;
};

class SecTrust {
  public:
    CFRef<::SecTrustRef> reference;
};

class SecAccessControl {
  public:
    CFRef<::SecAccessControlRef> reference;
};

/// Its object is an Objective-C LAContext. An Objective-C object can be used wherever a CoreFoundation object
/// can; that is how the context gets into a query.
class LAContext {
  public:
    CFRef<CFTypeRef> reference;
};

/// Returns a handle that owns `reference`, or null if there is none.
template <typename Handle, typename Ref>
std::shared_ptr<const Handle> makeHandle(CFRef<Ref> reference) {
    return reference ? std::make_shared<const Handle>(Handle{std::move(reference)}) : nullptr;
}

/// Returns the framework's object, which `handle` still owns, or null if `handle` is null.
template <typename Handle>
auto referenceOf(const std::shared_ptr<Handle>& handle) {
    return handle == nullptr ? nullptr : handle->reference.get();
}

}  // namespace KavrelCrypto
