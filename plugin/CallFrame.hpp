#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// Finishes `call` with a failure: the short word that tells it and, where an error is behind it, the error's
/// description in the place of the code. Web layers read it so, and find neither an error object nor data.
inline void reject(CAPPluginCall& call, const char* message, std::optional<std::string> code = std::nullopt) {
    call.reject(message, std::move(code), std::nullopt, std::nullopt);
}

/// The text argument "nationalCode". Where it is absent the call has been rejected.
inline std::optional<std::string> requiredNationalCode(CAPPluginCall& call) {
    std::optional<std::string> nationalCode = call.getString("nationalCode");
    if (!nationalCode.has_value()) {
        reject(call, "nationalCode required");
    }
    return nationalCode;
}

}  // namespace KavrelCrypto
