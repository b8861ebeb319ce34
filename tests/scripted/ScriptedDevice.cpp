#include "tests/scripted/ScriptedDevice.hpp"

#include <utility>

namespace KavrelCrypto {
namespace {

Script* current = nullptr;

Script& device() {
    if (current == nullptr) {
        fatalError("a test must make a ScriptedDevice before it uses the component");
    }
    return *current;
}

Bytes copy(BytesView bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace

Script::Script() {
    current = this;
}

Script::~Script() {
    current = nullptr;
}

void Script::runMainQueue() {
    for (const auto& task : std::exchange(mainQueue, {})) {
        task();
    }
}

void print(const std::string& line) {
    device().print(line);
}

void dispatchAsyncMain(std::function<void()> task) {
    device().mainQueue.push_back(std::move(task));
}

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    return device().SecItemAdd(attributes, result);
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    return device().SecItemCopyMatching(query, result);
}

OSStatus SecItemDelete(const CFDictionary& query) {
    return device().SecItemDelete(query);
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    return device().SecKeyCreateRandomKey(parameters, error);
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return device().SecKeyCopyPublicKey(key);
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    return device().SecKeyCopyExternalRepresentation(key, error);
}

std::size_t SecKeyGetBlockSize(const SecKeyRef& key) {
    return device().SecKeyGetBlockSize(key);
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error) {
    return device().SecKeyCreateSignature(key, algorithm, copy(dataToSign), error);
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error) {
    return device().SecKeyVerifySignature(key, algorithm, copy(signedData), copy(signature), error);
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant protection, SecAccessControlCreateFlags flags,
                                                    std::optional<NSError>* error) {
    return device().SecAccessControlCreateWithFlags(protection, flags, error);
}

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    return device().SecCertificateCreateWithData(copy(data));
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return device().SecPolicyCreateBasicX509();
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust) {
    return device().SecTrustCreateWithCertificates(certificate, policy, trust);
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return device().SecTrustCopyKey(trust);
}

LAContextRef makeLAContext() {
    return device().makeLAContext();
}

bool canEvaluatePolicy(LAContext& context, LAPolicy policy, std::optional<NSError>* error) {
    return device().canEvaluatePolicy(context, policy, error);
}

void evaluatePolicy(const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                    LAReply reply) {
    device().evaluatePolicy(context, policy, localizedReason, std::move(reply));
}

LABiometryType biometryType(const LAContext& context) {
    return device().biometryType(context);
}

}  // namespace KavrelCrypto
