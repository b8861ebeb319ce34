#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Foundation.hpp"

/// What the component uses of LocalAuthentication. The device defines every operation.
namespace KavrelCrypto {

/// One authentication: asked whether it is possible, then evaluated. Only the device completes the type.
class LAContext;
using LAContextRef = std::shared_ptr<LAContext>;

/// Numbered as LocalAuthentication numbers them.
enum class LAPolicy : std::int64_t {
    deviceOwnerAuthenticationWithBiometrics = 1,  // biometrics only, no passcode in their place
};

enum class LABiometryType : std::int64_t { none = 0, touchID = 1, faceID = 2, opticID = 4 };

inline constexpr std::int64_t LAErrorBiometryNotAvailable = -6;
inline constexpr std::int64_t LAErrorBiometryNotEnrolled = -7;
inline constexpr std::int64_t LAErrorBiometryLockout = -8;

/// Takes the outcome of an evaluation: whether the person was recognised and, if not, usually why.
using LAReply = std::function<void(bool success, std::optional<NSError> error)>;

/// Makes a fresh context, never null. Any thread.
LAContextRef makeLAContext();

/// Tells whether `policy` could be evaluated now. On a no, `*error` says why where the device gives a
/// reason; on a yes it is left as it was. `error` is not null. Shows nothing to the person. Any thread.
bool canEvaluatePolicy(LAContext& context, LAPolicy policy, std::optional<NSError>* error);

/// Shows the biometric prompt with `localizedReason` (UTF-8, not empty) and returns at once. `reply` is
/// called exactly once, later, on a thread of the device's own and never on the main one. The device keeps
/// the context alive until then. Any thread.
void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply);

/// The kind of sensor. Holds what canEvaluatePolicy found; before that it is none. Any thread.
LABiometryType biometryType(const LAContext& context);

}  // namespace KavrelCrypto
