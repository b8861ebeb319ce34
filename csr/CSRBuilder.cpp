#include "csr/CSRBuilder.hpp"

#include <optional>
#include <utility>

#include "csr/CSRCreationError.hpp"
#include "csr/CertificateSigningRequest.hpp"
#include "keys/SecureKeyManager.hpp"
#include "text/Base64.hpp"
// The one header from a folder above: a plain value that depends on nothing.
#include "plugin/UserInfo.hpp"

namespace KavrelCrypto {
namespace {

constexpr KeyAlgorithm requestAlgorithm = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256);

struct KeyPair {
    SecKeyRef privateKey;
    SecKeyRef publicKey;

    [[nodiscard]] bool isComplete() const {
        return privateKey != nullptr && publicKey != nullptr;
    }
};

std::optional<KeyPair> keyManagerPair(const std::string& alias) {
    try {
        const SecKeyRef privateKey = SecureKeyManager::shared()->getOrCreatePrivateKey(alias);
        return KeyPair{privateKey, SecureKeyManager::getPublicKey(privateKey)};
    } catch (const NSError&) {
        // Dropped on purpose: there is one more pair to try, and the builder raises only its own error.
        return std::nullopt;
    }
}

KeyPair keyPair(const CryptoUtils& cryptoUtils, const std::string& alias) {
    const std::string privateTag = cryptoUtils.privateTag(alias);
    const std::string publicTag = cryptoUtils.publicTag(alias);

    KeyPair utilityPair;
    utilityPair.privateKey = cryptoUtils.loadKey(privateTag);
    utilityPair.publicKey = cryptoUtils.loadKey(publicTag);
    if (utilityPair.isComplete()) {
        return utilityPair;
    }
    if (std::optional<KeyPair> pair = keyManagerPair(alias)) {
        return *std::move(pair);
    }
    auto [privateKey, publicKey] =
        cryptoUtils.generateKeysAndStoreInKeychain(requestAlgorithm, 2048, privateTag, publicTag);
    return {std::move(privateKey), std::move(publicKey)};
}

/// Returns the request for `user`. Its subject has six members of the record; the others are left out on
/// purpose.
CertificateSigningRequest requestFor(const UserInfo& user) {
    return CertificateSigningRequest({
        .commonName = user.nationalCode,
        .serialNumber = user.nationalCode,
        .stateOrProvinceName = user.provinceName,
        .localityName = user.city,
        .keyAlgorithm = requestAlgorithm,
        .surName = user.enLastName,
        .givenName = user.enName,
        .postalCode = user.postalCode,
        .includeEkuExtensions = true,
    });
}

}  // namespace

const CSRBuilder& CSRBuilder::shared() {
    static const CSRBuilder& instance = *new CSRBuilder;
    return instance;
}

CSRBuilder::CSRBuilder() = default;

std::string CSRBuilder::buildCSR(const std::string& alias, const UserInfo& user) const {
    const KeyPair pair = keyPair(cryptoUtils, alias);
    if (!pair.isComplete()) {
        throw toNSError(CSRCreationError::buildFailed);
    }
    // The block size is asked for, on purpose, and not used: the sequence of the keychain's calls is fixed.
    static_cast<void>(SecKeyGetBlockSize(pair.publicKey));
    const std::optional<Bytes> publicKeyBits = SecKeyCopyExternalRepresentation(pair.publicKey, nullptr);
    if (!publicKeyBits.has_value()) {
        throw toNSError(CSRCreationError::buildFailed);
    }
    const std::optional<Bytes> request =
        requestFor(user).build(*publicKeyBits, pair.privateKey, pair.publicKey);
    if (!request.has_value()) {
        throw toNSError(CSRCreationError::buildFailed);
    }
    return base64Encode(*request);
}

}  // namespace KavrelCrypto
