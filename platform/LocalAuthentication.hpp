#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Foundation.hpp"

/// What the component uses of LocalAuthentication. The device defines every operation.
namespace KavrelCrypto {

/// One authentication: the context is asked whether it is possible, then evaluated. Only the device defines
/// the class.
class LAContext;
using LAContextRef = std::shared_ptr<LAContext>;

/// Numbered as LocalAuthentication numbers them.
enum class LAPolicy : std::int64_t {
    deviceOwnerAuthenticationWithBiometrics = 1,  // biometrics only, without the passcode as a fallback
};

enum class LABiometryType : std::int64_t { none = 0, touchID = 1, faceID = 2, opticID = 4 };

inline constexpr std::int64_t LAErrorBiometryNotAvailable = -6;
inline constexpr std::int64_t LAErrorBiometryNotEnrolled = -7;
inline constexpr std::int64_t LAErrorBiometryLockout = -8;

/// Receives the outcome of an evaluation: whether the person was recognised and, if not, usually why.
using LAReply = std::function<void(bool success, std::optional<NSError> error)>;

/// Returns a new context, never null. Any thread may call.
LAContextRef makeLAContext();

/// Returns whether `policy` can be evaluated now. If it cannot and the device has a reason, sets `*error` to
/// it; otherwise leaves `*error` alone. `error` must not be null. Shows nothing to the person. Any thread may
/// call.
bool canEvaluatePolicy(LAContext& context, LAPolicy policy, std::optional<NSError>* error);

/// Shows the biometric prompt with `localizedReason` (UTF-8, not empty) and returns at once. Later, the
/// device calls `reply` exactly once, on a thread of its own and never on the main thread; it keeps the
/// context alive until then. A device that cannot get a thread calls it with an error before this returns.
/// Any thread may call.
void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply);

/// Returns the kind of sensor that the last canEvaluatePolicy found in `context`, or none before the first.
/// Any thread may call.
LABiometryType biometryType(const LAContext& context);

}  // namespace KavrelCrypto
