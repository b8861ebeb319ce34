// "getBiometricStatus".

#include <cstdint>

#include "platform/LocalAuthentication.hpp"
#include "plugin/DigitalSignPlugin.hpp"

namespace KavrelCrypto {
namespace {

const char* statusText(bool enabled, const std::optional<NSError>& error) {
    if (enabled) {
        return "BIOMETRIC_SUCCESS";
    }
    // On purpose, a refusal without an error and one with an unknown error have different words.
    if (!error.has_value()) {
        return "UNKNOWN";
    }
    switch (error->code) {
        case LAErrorBiometryLockout:
            return "BIOMETRIC_ERROR_LOCKOUT";
        case LAErrorBiometryNotAvailable:
            return "BIOMETRIC_ERROR_NO_HARDWARE";
        case LAErrorBiometryNotEnrolled:
            return "BIOMETRIC_ERROR_NONE_ENROLLED";
        default:
            return "BIOMETRIC_STATUS_UNKNOWN";
    }
}

}  // namespace

void DigitalSignPlugin::getBiometricStatus(const CAPPluginCallRef& call) const {
    const LAContextRef context = makeLAContext();
    std::optional<NSError> error;
    const bool enabled =
        canEvaluatePolicy(*context, LAPolicy::deviceOwnerAuthenticationWithBiometrics, &error);
    // The kind is known only after the policy has been checked.
    const LABiometryType type = biometryType(*context);
    call->resolve({
        {"enabled", enabled},
        {"status", statusText(enabled, error)},
        {"type", static_cast<std::int64_t>(type)},
    });
}

}  // namespace KavrelCrypto
