#include "keys/SecureKeyManagerError.hpp"

#include <string>

namespace KavrelCrypto {
namespace {

const char* messageOf(SecureKeyManagerError error) {
    switch (error) {
        case SecureKeyManagerError::keyGenerationFailed:
            return "Unknown error in SecKeyCreateRandomKey";
        case SecureKeyManagerError::publicKeyNotAvailable:
            return "Failed to get public key";
        case SecureKeyManagerError::privateKeyNotFound:
            return "Private key not found";
        case SecureKeyManagerError::signingFailed:
            return "Unknown error creating signature";
        case SecureKeyManagerError::biometricsNotAvailable:
            return "Biometric authentication not available";
        case SecureKeyManagerError::biometricsFailed:
            return "Biometric authentication failed";
    }
    fatalError("an error of the key manager must have one of its codes");
}

}  // namespace

NSError toNSError(SecureKeyManagerError error) {
    return {.domain = "SecureKeyManager",
            .code = static_cast<std::int64_t>(error),
            .userInfo = {{std::string(NSLocalizedDescriptionKey), messageOf(error)}}};
}

}  // namespace KavrelCrypto
