#include "apple/standins/Keys.hpp"

#include <Security/Security.h>
#include <map>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

namespace AppleStandIns {
namespace {

constexpr const char* osStatusDomain = "NSOSStatusErrorDomain";
constexpr CFIndex errSecUnimplemented = -4;
constexpr CFIndex errSecVerifyFailed = -67808;

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

PKey generate(CFTypeRef type, std::int64_t bits) {
    if (type == kSecAttrKeyTypeRSA) {
        return {EVP_RSA_gen(static_cast<unsigned>(bits)), EVP_PKEY_free};
    }
    return {EVP_EC_gen("P-256"), EVP_PKEY_free};
}

/// Whether the attributes say that the half they are of is to be stored.
bool isPermanent(CFTypeRef attributes) {
    return attributes != nullptr &&
           as<DictionaryObject>(attributes).find(kSecAttrIsPermanent) == kCFBooleanTrue;
}

CFDataRef makeData(const std::vector<std::uint8_t>& bytes) {
    return referenceTo<CFDataRef>(new DataObject(bytes));
}

using DigestContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

}  // namespace

std::string KeyObject::text() const {
    return isPrivate ? "a private key" : "a public key";
}

SecKeyRef makeKey(PKey key, bool isPrivate) {
    return referenceTo<SecKeyRef>(new KeyObject(std::move(key), isPrivate));
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

CFTypeID SecKeyGetTypeID() {
    return keyType;
}

SecKeyRef SecKeyCreateRandomKey(CFDictionaryRef parameters, CFErrorRef* error) {
    record("SecKeyCreateRandomKey", {parameters});
    if (fails("SecKeyCreateRandomKey", error)) {
        return nullptr;
    }
    const auto& asked = as<DictionaryObject>(parameters);
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
    const PKey pair = generate(type, as<NumberObject>(bits).value);
    if (const CFTypeRef attributes = asked.find(kSecPrivateKeyAttrs); isPermanent(attributes)) {
        storeKey(pair, true, type, as<DictionaryObject>(attributes));
    }
    if (const CFTypeRef attributes = asked.find(kSecPublicKeyAttrs); isPermanent(attributes)) {
        storeKey(pair, false, type, as<DictionaryObject>(attributes));
    }
    return makeKey(pair, true);
}

SecKeyRef SecKeyCopyPublicKey(SecKeyRef key) {
    record("SecKeyCopyPublicKey", {key});
    const auto& half = as<KeyObject>(key);
    return fails("SecKeyCopyPublicKey", nullptr) ? nullptr : makeKey(half.key, false);
}

CFDataRef SecKeyCopyExternalRepresentation(SecKeyRef key, CFErrorRef* error) {
    record("SecKeyCopyExternalRepresentation", {key});
    const auto& half = as<KeyObject>(key);
    if (fails("SecKeyCopyExternalRepresentation", error)) {
        return nullptr;
    }
    const auto encode = half.isPrivate ? i2d_PrivateKey : i2d_PublicKey;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(encode(half.key.get(), nullptr)));
    std::uint8_t* out = bytes.data();
    encode(half.key.get(), &out);
    return makeData(bytes);
}

size_t SecKeyGetBlockSize(SecKeyRef key) {
    record("SecKeyGetBlockSize", {key});
    return static_cast<size_t>(EVP_PKEY_get_size(as<KeyObject>(key).key.get()));
}

CFDataRef SecKeyCreateSignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef dataToSign,
                                CFErrorRef* error) {
    record("SecKeyCreateSignature", {key, algorithm, dataToSign});
    const auto& half = as<KeyObject>(key);
    const auto& data = as<DataObject>(dataToSign).bytes;
    const auto [digest, keyKind] = algorithmOf(algorithm);
    if (fails("SecKeyCreateSignature", error)) {
        return nullptr;
    }
    if (!half.isPrivate || EVP_PKEY_get_base_id(half.key.get()) != keyKind) {
        giveError(error, {osStatusDomain, errSecParam, u"The key cannot sign so"});
        return nullptr;
    }
    const DigestContext context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::vector<std::uint8_t> signature(static_cast<std::size_t>(EVP_PKEY_get_size(half.key.get())));
    std::size_t size = signature.size();
    if (EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, half.key.get()) != 1 ||
        EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) != 1) {
        fault("OpenSSL does not sign");
    }
    signature.resize(size);
    return makeData(signature);
}

Boolean SecKeyVerifySignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef signedData,
                              CFDataRef signature, CFErrorRef* error) {
    record("SecKeyVerifySignature", {key, algorithm, signedData, signature});
    const auto& half = as<KeyObject>(key);
    const auto& data = as<DataObject>(signedData).bytes;
    const auto& bytes = as<DataObject>(signature).bytes;
    const auto [digest, keyKind] = algorithmOf(algorithm);
    if (fails("SecKeyVerifySignature", error)) {
        return false;
    }
    const DigestContext context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const bool verified =
        !half.isPrivate && EVP_PKEY_get_base_id(half.key.get()) == keyKind &&
        EVP_DigestVerifyInit(context.get(), nullptr, digest, nullptr, half.key.get()) == 1 &&
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
    const std::string text = as<ConstantObject>(protection).name + " with flags " + std::to_string(flags);
    if (fails("SecAccessControlCreateWithFlags", error)) {
        return nullptr;
    }
    return referenceTo<SecAccessControlRef>(new AccessControlObject(text));
}
