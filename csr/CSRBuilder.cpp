#include "csr/CSRBuilder.hpp"

#include <optional>
#include <utility>

#include "csr/CSRCreationError.hpp"
#include "csr/CertificateSigningRequest.hpp"
#include "keys/SecureKeyManager.hpp"
#include "text/Base64.hpp"
// The identity record is the plugin's, and a plain value that depends on nothing: the one thing taken from
// above.
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
        // Dropped on purpose: the builder has one more pair to try, and its own error for the end.
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

/// The subject names the person by the Latin names and the national code; the other texts of the record are
/// left out of the request on purpose.
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
    // The block size is asked for and decides nothing; the export tells whether the key is usable.
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
