#pragma once

#include <cstdint>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {

/// The errors that the key manager makes itself, numbered by their codes. There is no -3, and the gap stays:
/// a code keeps its meaning once it has been used.
enum class SecureKeyManagerError : std::int8_t {
    keyGenerationFailed = -1,
    publicKeyNotAvailable = -2,
    privateKeyNotFound = -4,
    signingFailed = -5,
    biometricsNotAvailable = -6,
    biometricsFailed = -7,
};

/// Returns `error` with the domain "SecureKeyManager", its number as the code, and its message under
/// NSLocalizedDescriptionKey.
NSError toNSError(SecureKeyManagerError error);

}  // namespace KavrelCrypto
