#pragma once

#include <cstdint>
#include <string>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {

/// An error that the key manager makes itself: domain "SecureKeyManager", a negative code, the message under
/// NSLocalizedDescriptionKey. The codes are -1, -2 (keys), -4, -5 (signing), -6 and -7 (authentication).
/// There is no -3, and the gap stays: a code keeps its meaning once it is out.
inline NSError secureKeyManagerError(std::int64_t code, std::string message) {
    return {.domain = "SecureKeyManager",
            .code = code,
            .userInfo = {{std::string(NSLocalizedDescriptionKey), std::move(message)}}};
}

}  // namespace KavrelCrypto
