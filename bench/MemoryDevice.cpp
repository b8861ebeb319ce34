// A device that answers each operation from memory and at once, so that what a call takes is the component's
// own share. It has one key, whose signatures are zeros, and one certificate, which is for that key. Prompts
// are answered with a match, on the calling thread.

#include <algorithm>
#include <deque>
#include <utility>

#include "bench/Calls.hpp"
#include "bench/OpenSSL.hpp"
#include "platform/Dispatch.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

class SecKey {};
class SecCertificate {};
class SecPolicy {};
class SecTrust {};
class SecAccessControl {};
class LAContext {};

namespace {

/// Returns the one object of a kind that the device has.
template <typename Handle>
const std::shared_ptr<Handle>& theOnly() {
    static const auto handle = std::make_shared<Handle>();
    return handle;
}

const SecKeyRef& key() {
    return theOnly<const SecKey>();
}

std::deque<std::function<void()>>& mainQueue() {
    static std::deque<std::function<void()>> tasks;
    return tasks;
}

bool has(const CFDictionary& query, SecConstant key) {
    return std::any_of(query.begin(), query.end(),
                       [&](const CFDictionaryEntry& entry) { return entry.key == key; });
}

}  // namespace

void Bench::runMainQueueUntil(const std::function<bool()>& done) {
    while (!done()) {
        mainQueue().front()();
        mainQueue().pop_front();
    }
}

void print(const std::string&) {}

void dispatchAsyncMain(std::function<void()> task) {
    mainQueue().push_back(std::move(task));
}

OSStatus SecItemAdd(const CFDictionary&, SecItemResult*) {
    return errSecSuccess;
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    static const Bytes password(1800, 'A');  // as long as a certificate's string
    if (result != nullptr) {
        if (has(query, kSecReturnData)) {
            *result = password;
        } else {
            *result = key();
        }
    }
    return errSecSuccess;
}

OSStatus SecItemDelete(const CFDictionary&) {
    return errSecSuccess;
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary&, std::optional<NSError>*) {
    return key();
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return key;
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef&, std::optional<NSError>*) {
    static const Bytes publicKey = OpenSSL::rsaPublicKey(OpenSSL::newRSAKey(2048));
    return publicKey;
}

std::size_t SecKeyGetBlockSize(const SecKeyRef&) {
    return 256;
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef&, SecKeyAlgorithm, BytesView,
                                           std::optional<NSError>*) {
    return Bytes(256);
}

bool SecKeyVerifySignature(const SecKeyRef&, SecKeyAlgorithm, BytesView, BytesView, std::optional<NSError>*) {
    return true;
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant, SecAccessControlCreateFlags,
                                                    std::optional<NSError>*) {
    return theOnly<const SecAccessControl>();
}

SecCertificateRef SecCertificateCreateWithData(BytesView) {
    return theOnly<const SecCertificate>();
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return theOnly<const SecPolicy>();
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef&, const SecPolicyRef&, SecTrustRef* trust) {
    *trust = theOnly<const SecTrust>();
    return errSecSuccess;
}

SecKeyRef SecTrustCopyKey(const SecTrustRef&) {
    return key();
}

LAContextRef makeLAContext() {
    return theOnly<LAContext>();
}

bool canEvaluatePolicy(LAContext&, LAPolicy, std::optional<NSError>*) {
    return true;
}

void evaluatePolicy(const LAContextRef&, LAPolicy, const std::string&, LAReply reply) {
    reply(true, std::nullopt);
}

LABiometryType biometryType(const LAContext&) {
    return LABiometryType::faceID;
}

}  // namespace KavrelCrypto
