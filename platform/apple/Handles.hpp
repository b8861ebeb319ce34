#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <memory>

#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"
#include "platform/apple/CFRef.hpp"

/// The handles of the seam, completed: each owns one reference to the framework's object.
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

/// The object is an Objective-C LAContext. Objective-C objects can stand wherever CoreFoundation ones can,
/// which is how the context gets into a query.
class LAContext {
  public:
    CFRef<CFTypeRef> reference;
};

/// The handle for a reference of one's own; null for none.
template <typename Handle, typename Ref>
std::shared_ptr<const Handle> makeHandle(CFRef<Ref> reference) {
    return reference ? std::make_shared<const Handle>(Handle{std::move(reference)}) : nullptr;
}

/// The framework's object behind a handle, which keeps owning it; null for none.
template <typename Handle>
auto referenceOf(const std::shared_ptr<Handle>& handle) {
    return handle == nullptr ? nullptr : handle->reference.get();
}

}  // namespace KavrelCrypto
