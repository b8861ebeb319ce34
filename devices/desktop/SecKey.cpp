#include "devices/desktop/SecKey.hpp"

#include <openssl/core_names.h>
#include <openssl/x509.h>
#include <utility>

#include "devices/desktop/Failure.hpp"

namespace KavrelCrypto {
namespace Desktop {

ItemKind keyKind(SecConstant type, SecConstant keyClass) {
    if (type == kSecAttrKeyTypeRSA) {
        return keyClass == kSecAttrKeyClassPrivate ? ItemKind::rsaPrivateKey : ItemKind::rsaPublicKey;
    }
    return keyClass == kSecAttrKeyClassPrivate ? ItemKind::ecPrivateKey : ItemKind::ecPublicKey;
}

}  // namespace Desktop

namespace {

using namespace Desktop;

SecKey::Material parse(const Item& item) {
    const unsigned char* der = item.secret.data();
    const auto length = static_cast<long>(item.secret.size());
    switch (item.kind) {
        case ItemKind::rsaPrivateKey:
            return {PKey(d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &der, length)), true};
        case ItemKind::ecPrivateKey:
            return {PKey(d2i_PrivateKey(EVP_PKEY_EC, nullptr, &der, length)), true};
        default:
            return {PKey(d2i_PUBKEY(nullptr, &der, length)), false};
    }
}

const EVP_MD* digest(SecKeyAlgorithm algorithm) {
    switch (algorithm) {
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1:
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA1:
            return EVP_sha1();
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256:
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA256:
            return EVP_sha256();
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512:
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA512:
            return EVP_sha512();
    }
    throw Failure(errSecParam, "The signature algorithm is unknown.");
}

bool isRSA(SecKeyAlgorithm algorithm) {
    return algorithm <= kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512;
}

/// Returns the material of `key`. Throws a Failure if it is not the half that is wanted.
EVP_PKEY* half(const SecKeyRef& key, bool wantsPrivate) {
    const SecKey::Material& material = key->material();
    if (material.isPrivate != wantsPrivate) {
        throw Failure(errSecParam, wantsPrivate ? "This takes a private key, and the key is a public one."
                                                : "This takes a public key, and the key is a private one.");
    }
    return material.key.get();
}

void requireFit(EVP_PKEY* key, SecKeyAlgorithm algorithm) {
    if ((EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA) != isRSA(algorithm)) {
        throw Failure(errSecParam, "The signature algorithm is for keys of another type.");
    }
}

/// Returns 04 || X || Y, whatever form the point had where it came from.
Bytes uncompressedPoint(EVP_PKEY* key) {
    BIGNUM* x = nullptr;
    BIGNUM* y = nullptr;
    EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_X, &x);
    EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_Y, &y);
    const std::unique_ptr<BIGNUM, FreeWith<BN_free>> ownedX(x);
    const std::unique_ptr<BIGNUM, FreeWith<BN_free>> ownedY(y);
    const int length = (EVP_PKEY_get_bits(key) + 7) / 8;
    Bytes point(1 + 2 * static_cast<std::size_t>(length), 0x04);
    if (x == nullptr || y == nullptr || BN_bn2binpad(x, point.data() + 1, length) != length ||
        BN_bn2binpad(y, point.data() + 1 + length, length) != length) {
        throw openSSLFailure(errSecInternalComponent, "The key cannot be exported.");
    }
    return point;
}

std::optional<Bytes> signature(EVP_PKEY* key, SecKeyAlgorithm algorithm, BytesView data) {
    requireFit(key, algorithm);
    const DigestContext context(EVP_MD_CTX_new());
    auto length = static_cast<std::size_t>(EVP_PKEY_get_size(key));
    Bytes bytes(length);
    if (context == nullptr ||
        EVP_DigestSignInit(context.get(), nullptr, digest(algorithm), nullptr, key) != 1 ||
        EVP_DigestSign(context.get(), bytes.data(), &length, data.data(), data.size()) != 1 ||
        length > bytes.size()) {  // OpenSSL may claim success and a length of −1 when it lacks memory
        throw openSSLFailure(errSecParam, "The key cannot make this signature.");
    }
    bytes.resize(length);
    return bytes;
}

bool isGenuine(EVP_PKEY* key, SecKeyAlgorithm algorithm, BytesView data, BytesView signature) {
    requireFit(key, algorithm);
    const DigestContext context(EVP_MD_CTX_new());
    if (context == nullptr ||
        EVP_DigestVerifyInit(context.get(), nullptr, digest(algorithm), nullptr, key) != 1) {
        throw openSSLFailure(errSecInternalComponent, "The signature cannot be verified.");
    }
    if (EVP_DigestVerify(context.get(), signature.data(), signature.size(), data.data(), data.size()) != 1) {
        throw openSSLFailure(errSecVerifyFailed, "The signature does not verify.");
    }
    return true;
}

}  // namespace

SecKey::SecKey(Material material) : material_(std::move(material)) {}

SecKey::SecKey(std::shared_ptr<Keychain> keychain, std::int64_t id)
    : keychain_(std::move(keychain)), id_(id) {}

const SecKey::Material& SecKey::material() const {
    const std::lock_guard lock(mutex_);
    if (!material_) {
        const std::optional<Item> item = keychain_->read(id_);
        if (!item) {
            throw Failure(errSecItemNotFound, "The key has been deleted from the keychain.");
        }
        Material read = parse(*item);
        if (read.key == nullptr) {
            throw openSSLFailure(errSecIO, "A key in the keychain cannot be read.");
        }
        material_ = std::move(read);
    }
    return *material_;
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    // The same key, to be used by its public half only.
    return resultOf(nullptr, [&]() -> SecKeyRef {
        return std::make_shared<const SecKey>(SecKey::Material{share(key->material().key.get()), false});
    });
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    return resultOf(error, [&]() -> std::optional<Bytes> {
        EVP_PKEY* material = half(key, false);
        return EVP_PKEY_get_base_id(material) == EVP_PKEY_EC ? uncompressedPoint(material)
                                                             : encode(i2d_PublicKey, material);
    });
}

std::size_t SecKeyGetBlockSize(const SecKeyRef& key) {
    return resultOf(nullptr, [&] {
        return (static_cast<std::size_t>(EVP_PKEY_get_bits(key->material().key.get())) + 7) / 8;
    });
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error) {
    return resultOf(error, [&] { return signature(half(key, true), algorithm, dataToSign); });
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error) {
    return resultOf(error, [&] { return isGenuine(half(key, false), algorithm, signedData, signature); });
}

}  // namespace KavrelCrypto
