#include <optional>
#include <utility>

#include "keys/SecureKeyManager.hpp"
#include "keys/SecureKeyManagerError.hpp"
#include "platform/Dispatch.hpp"

namespace KavrelCrypto {

void SecureKeyManager::sign(const std::string& alias, Bytes data,
                            std::function<void(SigningResult)> completion) const {
    // The prompt always comes first: only a person who has been recognised learns whether there is a key.
    authenticateWithBiometrics(
        "Authenticate to sign",
        [weakManager = weak_from_this(), alias, data = std::move(data),
         completion = std::move(completion)](const AuthenticationResult& authentication) {
            const std::shared_ptr<const SecureKeyManager> manager = weakManager.lock();
            if (manager == nullptr) {
                return;
            }
            if (const auto* error = std::get_if<NSError>(&authentication)) {
                completion(*error);
            } else {
                completion(manager->signature(alias, data, std::get<LAContextRef>(authentication)));
            }
        });
}

void SecureKeyManager::authenticateWithBiometrics(
    const std::string& reason, std::function<void(const AuthenticationResult&)> completion) {
    constexpr LAPolicy policy = LAPolicy::deviceOwnerAuthenticationWithBiometrics;
    // A context remembers that it has been evaluated, so each request needs its own.
    LAContextRef context = makeLAContext();
    std::optional<NSError> error;
    if (!canEvaluatePolicy(*context, policy, &error)) {
        completion(error.value_or(toNSError(SecureKeyManagerError::biometricsNotAvailable)));
        return;
    }
    LAReply reply = [context, completion = std::move(completion)](bool success,
                                                                  std::optional<NSError> failure) mutable {
        // The task takes everything over, so that nothing outlives it, whoever still holds the reply.
        dispatchAsyncMain([success, failure = std::move(failure), context = std::move(context),
                           completion = std::move(completion)] {
            if (success) {
                completion(context);
            } else {
                completion(failure.value_or(toNSError(SecureKeyManagerError::biometricsFailed)));
            }
        });
    };
    evaluatePolicy(context, policy, reason, std::move(reply));
}

SecureKeyManager::SigningResult SecureKeyManager::signature(const std::string& alias, BytesView data,
                                                            const LAContextRef& context) const {
    const SecKeyRef privateKey = loadPrivateKey(alias, context);
    if (privateKey == nullptr) {
        return toNSError(SecureKeyManagerError::privateKeyNotFound);
    }
    std::optional<NSError> error;
    // On purpose a message algorithm: `data` is hashed here, even if it is a digest itself. Verifiers expect
    // that.
    std::optional<Bytes> bytes =
        SecKeyCreateSignature(privateKey, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256, data, &error);
    if (bytes.has_value()) {
        return *std::move(bytes);
    }
    return error.value_or(toNSError(SecureKeyManagerError::signingFailed));
}

}  // namespace KavrelCrypto
