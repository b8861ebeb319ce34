// A device that answers each operation from memory and at once, so that what a call takes is the component's
// own share. It has one key, whose signatures are zeros, and one certificate, which is for that key. Prompts
// are answered with a match, on the calling thread.

#include "bench/MemoryDevice.hpp"

#include <deque>
#include <utility>

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

struct Memory {
    SecKeyRef key = std::make_shared<const SecKey>();
    SecCertificateRef certificate = std::make_shared<const SecCertificate>();
    SecPolicyRef policy = std::make_shared<const SecPolicy>();
    SecTrustRef trust = std::make_shared<const SecTrust>();
    SecAccessControlRef accessControl = std::make_shared<const SecAccessControl>();
    LAContextRef context = std::make_shared<LAContext>();
    Bytes publicKey = OpenSSL::rsaPublicKey(OpenSSL::newRSAKey(2048));
    Bytes signature = Bytes(256);
    Bytes password = Bytes(1800, 'A');  // as long as a certificate's string
};

const Memory& memory() {
    static const Memory instance;
    return instance;
}

thread_local std::deque<std::function<void()>> mainQueue;

bool has(const CFDictionary& query, SecConstant key) {
    return std::any_of(query.begin(), query.end(),
                       [&](const CFDictionaryEntry& entry) { return entry.key == key; });
}

}  // namespace

void Bench::runMainQueue() {
    for (; !mainQueue.empty(); mainQueue.pop_front()) {
        mainQueue.front()();
    }
}

void print(const std::string&) {}

void dispatchAsyncMain(std::function<void()> task) {
    mainQueue.push_back(std::move(task));
}

OSStatus SecItemAdd(const CFDictionary&, SecItemResult*) {
    return errSecSuccess;
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    if (result != nullptr) {
        if (has(query, kSecReturnData)) {
            *result = memory().password;
        } else {
            *result = memory().key;
        }
    }
    return errSecSuccess;
}

OSStatus SecItemDelete(const CFDictionary&) {
    return errSecSuccess;
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary&, std::optional<NSError>*) {
    return memory().key;
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return key;
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef&, std::optional<NSError>*) {
    return memory().publicKey;
}

std::size_t SecKeyGetBlockSize(const SecKeyRef&) {
    return memory().signature.size();
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef&, SecKeyAlgorithm, BytesView,
                                           std::optional<NSError>*) {
    return memory().signature;
}

bool SecKeyVerifySignature(const SecKeyRef&, SecKeyAlgorithm, BytesView, BytesView, std::optional<NSError>*) {
    return true;
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant, SecAccessControlCreateFlags,
                                                    std::optional<NSError>*) {
    return memory().accessControl;
}

SecCertificateRef SecCertificateCreateWithData(BytesView) {
    return memory().certificate;
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return memory().policy;
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef&, const SecPolicyRef&, SecTrustRef* trust) {
    *trust = memory().trust;
    return errSecSuccess;
}

SecKeyRef SecTrustCopyKey(const SecTrustRef&) {
    return memory().key;
}

LAContextRef makeLAContext() {
    return memory().context;
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
