#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/Capacitor.hpp"

namespace KavrelCrypto {

/// Rejects `call` with a fixed word as the message and, if an error is behind it, the error's description as
/// the code. On purpose, a rejection never has an error object or data.
inline void reject(CAPPluginCall& call, const char* message, std::optional<std::string> code = std::nullopt) {
    call.reject(message, std::move(code), std::nullopt, std::nullopt);
}

/// Returns the string argument "nationalCode". If there is none, rejects `call` and returns nothing.
inline std::optional<std::string> nationalCodeOrReject(CAPPluginCall& call) {
    std::optional<std::string> nationalCode = call.getString("nationalCode");
    if (!nationalCode.has_value()) {
        reject(call, "nationalCode required");
    }
    return nationalCode;
}

}  // namespace KavrelCrypto
