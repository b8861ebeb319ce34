#include <Security/Security.h>
#include <map>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include "apple/standins/Object.hpp"
#include "devices/desktop/OpenSSL.hpp"

namespace AppleStandIns {
namespace {

using namespace KavrelCrypto::Desktop;

constexpr const char* osStatusDomain = "NSOSStatusErrorDomain";

/// The message digest of an algorithm, and the kind of key that it is for.
struct Algorithm {
    const EVP_MD* digest;
    int keyKind;
};

Algorithm algorithmOf(SecKeyAlgorithm name) {
    const std::map<SecKeyAlgorithm, Algorithm> algorithms = {
        {kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1, {EVP_sha1(), EVP_PKEY_RSA}},
        {kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256, {EVP_sha256(), EVP_PKEY_RSA}},
        {kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512, {EVP_sha512(), EVP_PKEY_RSA}},
        {kSecKeyAlgorithmECDSASignatureMessageX962SHA1, {EVP_sha1(), EVP_PKEY_EC}},
        {kSecKeyAlgorithmECDSASignatureMessageX962SHA256, {EVP_sha256(), EVP_PKEY_EC}},
        {kSecKeyAlgorithmECDSASignatureMessageX962SHA512, {EVP_sha512(), EVP_PKEY_EC}},
    };
    const auto algorithm = algorithms.find(name);
    if (algorithm == algorithms.end()) {
        fault("there is no algorithm " + textOf(name));
    }
    return algorithm->second;
}

std::shared_ptr<EVP_PKEY> generate(CFTypeRef type, std::int64_t bits) {
    if (type == kSecAttrKeyTypeRSA) {
        return {EVP_RSA_gen(static_cast<unsigned>(bits)), EVP_PKEY_free};
    }
    return {EVP_EC_gen("P-256"), EVP_PKEY_free};
}

/// Whether the attributes say that the half they are of is to be stored.
bool isPermanent(CFTypeRef attributes) {
    return attributes != nullptr && as<Dictionary>(attributes).find(kSecAttrIsPermanent) == kCFBooleanTrue;
}

}  // namespace
}  // namespace AppleStandIns

using namespace AppleStandIns;

CFTypeID SecKeyGetTypeID() {
    return typeID<Key>();
}

SecKeyRef SecKeyCreateRandomKey(CFDictionaryRef parameters, CFErrorRef* error) {
    record("SecKeyCreateRandomKey", {parameters});
    if (fails("SecKeyCreateRandomKey", error)) {
        return nullptr;
    }
    const auto& asked = as<Dictionary>(parameters);
    const CFTypeRef type = asked.find(kSecAttrKeyType);
    const CFTypeRef bits = asked.find(kSecAttrKeySizeInBits);
    if (type == nullptr || bits == nullptr) {
        giveError(error, {osStatusDomain, errSecParam, u"No key type or no size"});
        return nullptr;
    }
    if (asked.find(kSecAttrTokenID) != nullptr) {
        giveError(error, {osStatusDomain, errSecUnimplemented, u"There is no Secure Enclave"});
        return nullptr;
    }
    const std::shared_ptr<EVP_PKEY> pair = generate(type, as<std::int64_t>(bits));
    if (const CFTypeRef attributes = asked.find(kSecPrivateKeyAttrs); isPermanent(attributes)) {
        storeKey({pair, true}, type, as<Dictionary>(attributes));
    }
    if (const CFTypeRef attributes = asked.find(kSecPublicKeyAttrs); isPermanent(attributes)) {
        storeKey({pair, false}, type, as<Dictionary>(attributes));
    }
    return make<SecKeyRef>(Key{pair, true});
}

SecKeyRef SecKeyCopyPublicKey(SecKeyRef key) {
    record("SecKeyCopyPublicKey", {key});
    const auto& half = as<Key>(key);
    return fails("SecKeyCopyPublicKey", nullptr) ? nullptr : make<SecKeyRef>(Key{half.pair, false});
}

CFDataRef SecKeyCopyExternalRepresentation(SecKeyRef key, CFErrorRef* error) {
    record("SecKeyCopyExternalRepresentation", {key});
    const auto& half = as<Key>(key);
    if (fails("SecKeyCopyExternalRepresentation", error)) {
        return nullptr;
    }
    return make<CFDataRef>(encode(half.isPrivate ? i2d_PrivateKey : i2d_PublicKey, half.pair.get()));
}

size_t SecKeyGetBlockSize(SecKeyRef key) {
    record("SecKeyGetBlockSize", {key});
    return static_cast<size_t>(EVP_PKEY_get_size(as<Key>(key).pair.get()));
}

CFDataRef SecKeyCreateSignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef dataToSign,
                                CFErrorRef* error) {
    record("SecKeyCreateSignature", {key, algorithm, dataToSign});
    const auto& half = as<Key>(key);
    const auto& data = as<Bytes>(dataToSign);
    const auto [digest, keyKind] = algorithmOf(algorithm);
    if (fails("SecKeyCreateSignature", error)) {
        return nullptr;
    }
    if (!half.isPrivate || EVP_PKEY_get_base_id(half.pair.get()) != keyKind) {
        giveError(error, {osStatusDomain, errSecParam, u"The key cannot sign so"});
        return nullptr;
    }
    const DigestContext context(EVP_MD_CTX_new());
    Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(half.pair.get())));
    std::size_t size = signature.size();
    if (EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, half.pair.get()) != 1 ||
        EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) != 1) {
        fault("OpenSSL does not sign");
    }
    signature.resize(size);
    return make<CFDataRef>(std::move(signature));
}

Boolean SecKeyVerifySignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef signedData,
                              CFDataRef signature, CFErrorRef* error) {
    record("SecKeyVerifySignature", {key, algorithm, signedData, signature});
    const auto& half = as<Key>(key);
    const auto& data = as<Bytes>(signedData);
    const auto& bytes = as<Bytes>(signature);
    const auto [digest, keyKind] = algorithmOf(algorithm);
    if (fails("SecKeyVerifySignature", error)) {
        return false;
    }
    const DigestContext context(EVP_MD_CTX_new());
    const bool verified =
        !half.isPrivate && EVP_PKEY_get_base_id(half.pair.get()) == keyKind &&
        EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, half.pair.get()) == 1 &&
        EVP_DigestVerify(context.get(), bytes.data(), bytes.size(), data.data(), data.size()) == 1;
    if (!verified) {
        ERR_clear_error();
        giveError(error, {osStatusDomain, errSecVerifyFailed, u"The signature is not the key’s"});
    }
    return verified;
}

SecAccessControlRef SecAccessControlCreateWithFlags(CFAllocatorRef, CFTypeRef protection,
                                                    SecAccessControlCreateFlags flags, CFErrorRef* error) {
    record("SecAccessControlCreateWithFlags", {protection});
    const std::string text = textOf(protection) + " with flags " + std::to_string(flags);
    if (fails("SecAccessControlCreateWithFlags", error)) {
        return nullptr;
    }
    return make<SecAccessControlRef>(AccessControl{text});
}
