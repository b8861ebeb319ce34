#include "tests/faults/FaultyDevice.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <span>
#include <thread>
#include <utility>

#include "platform/Dispatch.hpp"
#include "tests/support/NativeDevice.hpp"

namespace KavrelCrypto {
namespace {

/// Counts the operation, which can fail in so many ways, and lets it succeed unless it is to fail: then
/// returns what `fail` makes of the number of the way.
template <typename Fail, typename Succeed>
auto ask(std::string name, std::size_t ways, const Fail& fail, const Succeed& succeed)
    -> decltype(succeed()) {
    const std::size_t position = device().operations.size();
    device().operations.push_back({std::move(name), ways, false, ""});
    for (const FaultyDevice::Fault& fault : device().faults) {
        if (fault.position == position) {
            device().operations.back().hasFailed = true;
            return fail(fault.way);
        }
    }
    return succeed();
}

/// The same for an operation that can fail in no way, or in one: it returns nothing.
template <typename Succeed>
auto ask(std::string name, std::size_t ways, const Succeed& succeed) {
    return ask(
        std::move(name), ways, [](std::size_t) { return decltype(succeed())(); }, succeed);
}

/// Returns the word that the tests have for the item in the keychain that `map` is about.
std::string itemIn(const CFDictionary& map) {
    const std::string name = nameIn(map);
    const std::pair<const char*, const char*> kinds[] = {
        {"com.solbera.app.privatekey.", " private key"},
        {"com.solbera.app.publickey.", " public key"},
        {"com.kavrel.app.privatekey", " utility private key"},
        {"com.kavrel.app.publickey", " utility public key"},
        {"com.ios.kavrel.cachedCSR", " slot"}};
    for (const auto& [prefix, kind] : kinds) {
        if (name.starts_with(prefix)) {
            return kind;
        }
    }
    return name;
}

/// The statuses that platform/Security.hpp names. The component does not tell one failure from another.
constexpr OSStatus statuses[] = {errSecParam, errSecDuplicateItem, errSecItemNotFound,
                                 errSecInteractionNotAllowed};

template <typename Succeed>
OSStatus askForStatus(std::string name, const Succeed& succeed) {
    return ask(
        std::move(name), std::size(statuses), [](std::size_t way) { return statuses[way]; }, succeed);
}

/// The error that an operation gives as its reason, if it gives one.
using Reason = std::optional<NSError>;

/// Returns the reasons to be tried: one with a message, one without, and none. If the caller does not ask for
/// the reason, only the last one is left.
std::span<const Reason> reasonsFor(const std::optional<NSError>* error) {
    static const Reason reasons[] = {
        NSError{.domain = "D", .code = -1, .userInfo = {{"NSLocalizedDescription", "why"}}},
        NSError{.domain = "D", .code = -2}, std::nullopt};
    return std::span(reasons).last(error == nullptr ? 1 : std::size(reasons));
}

void give(const Reason& reason, std::optional<NSError>* error) {
    if (reason) {
        *error = reason;
        device().operations.back().reason = reason->localizedDescription();
    }
}

/// Counts an operation that returns nothing if it fails, and may say why.
template <typename Succeed>
auto askForReason(std::string name, std::optional<NSError>* error, std::span<const Reason> reasons,
                  const Succeed& succeed) {
    const auto fail = [&](std::size_t way) {
        give(reasons[way], error);
        return decltype(succeed())();
    };
    return ask(std::move(name), reasons.size(), fail, succeed);
}

/// Returns LocalAuthentication's error of this code. Its message is the code.
NSError refusal(std::int64_t code) {
    return {.domain = "com.apple.LocalAuthentication",
            .code = code,
            .userInfo = {{"NSLocalizedDescription", std::to_string(code)}}};
}

/// Calls `reply` later, on a thread of the device's own.
bool answerLater(const LAReply& reply, bool success, const Reason& reason) {
    device().replies.push_back([=] { std::thread(reply, success, reason).join(); });
    return true;
}

}  // namespace

FaultyDevice& device() {
    static FaultyDevice instance;
    return instance;
}

void NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    while (!done()) {
        for (const auto& reply : std::exchange(device().replies, {})) {
            reply();
        }
        for (const auto& task : std::exchange(device().mainQueue, {})) {
            task();
        }
    }
}

void print(const std::string&) {}

void dispatchAsyncMain(std::function<void()> task) {
    device().mainQueue.push_back(std::move(task));
}

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    EXPECT_EQ(result, nullptr);
    return askForStatus("SecItemAdd" + itemIn(attributes), [&] { return device().phone.add(attributes); });
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    // Success without the item, with one of another kind, and with a key that is null or bytes that are not
    // UTF-8.
    const SecItemResult others[] = {SecItemResult(), SecKeyRef(), Bytes{0xFF, 0xFE}};
    const auto fail = [&](std::size_t way) {
        if (way < std::size(others)) {
            *result = others[way];
            return errSecSuccess;
        }
        return statuses[way - std::size(others)];
    };
    const auto succeed = [&] {
        const OSStatus status = device().phone.copyMatching(query, result);
        device().operations.back().hasFailed = status != errSecSuccess;
        return status;
    };
    return ask("SecItemCopyMatching" + itemIn(query), std::size(others) + std::size(statuses), fail, succeed);
}

OSStatus SecItemDelete(const CFDictionary& query) {
    return askForStatus("SecItemDelete" + itemIn(query), [&] { return device().phone.remove(query); });
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    const std::span<const Reason> reasons = reasonsFor(error);
    const auto fail = [&](std::size_t way) {
        if (way < reasons.size()) {
            give(reasons[way], error);
        } else {  // one half is stored
            device().phone.createHalf(parameters, way == reasons.size());
        }
        return SecKeyRef();
    };
    return ask("SecKeyCreateRandomKey" + itemIn(*valueIn<CFDictionary>(parameters, kSecPrivateKeyAttrs)),
               reasons.size() + 2, fail, [&] { return device().phone.createRandomKey(parameters); });
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return ask("SecKeyCopyPublicKey", 1, [&] { return MemoryPhone::publicHalf(key->pair); });
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    return askForReason("SecKeyCopyExternalRepresentation", error, reasonsFor(error),
                        [&] { return std::optional(MemoryPhone::publicKey(key->pair)); });
}

std::size_t SecKeyGetBlockSize(const SecKeyRef&) {
    return ask("SecKeyGetBlockSize", 1, [] { return std::size_t{256}; });
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm, BytesView dataToSign,
                                           std::optional<NSError>* error) {
    return askForReason("SecKeyCreateSignature", error, reasonsFor(error),
                        [&] { return std::optional(MemoryPhone::signature(key->pair, dataToSign)); });
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm, BytesView signedData, BytesView signature,
                           std::optional<NSError>* error) {
    return askForReason("SecKeyVerifySignature", error, reasonsFor(error), [&] {
        const bool isGood =
            MemoryPhone::signature(key->pair, signedData) == Bytes(signature.begin(), signature.end());
        device().operations.back().hasFailed = !isGood;
        return isGood;
    });
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant, SecAccessControlCreateFlags,
                                                    std::optional<NSError>*) {
    fatalError("no method of the plugin makes an access control");
}

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    return ask("SecCertificateCreateWithData", 1, [&] { return MemoryPhone::certificateIn(data); });
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return ask("SecPolicyCreateBasicX509", 0, [] { return std::make_shared<const SecPolicy>(); });
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef&,
                                        SecTrustRef* trust) {
    const auto succeed = [&] {
        *trust = std::make_shared<const SecTrust>(certificate->pair);
        return errSecSuccess;
    };
    const auto fail = [&](std::size_t way) {
        if (way < std::size(statuses)) {
            return statuses[way];
        }
        if (way == std::size(statuses)) {  // success, without a trust object
            return errSecSuccess;
        }
        succeed();
        return errSecParam;
    };
    return ask("SecTrustCreateWithCertificates", std::size(statuses) + 2, fail, succeed);
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return ask("SecTrustCopyKey", 1, [&] { return MemoryPhone::publicHalf(trust->pair); });
}

LAContextRef makeLAContext() {
    auto context = std::make_shared<LAContext>();
    device().contexts.push_back(context);
    return ask("makeLAContext", 0, [&] { return context; });
}

bool canEvaluatePolicy(LAContext&, LAPolicy, std::optional<NSError>* error) {
    const Reason refusals[] = {refusal(LAErrorBiometryLockout),
                               refusal(LAErrorBiometryNotAvailable),
                               refusal(LAErrorBiometryNotEnrolled),
                               refusal(-5),
                               refusal(0),
                               std::nullopt};
    return askForReason("canEvaluatePolicy", error, refusals, [] { return true; });
}

void evaluatePolicy(const LAContextRef&, LAPolicy, const std::string&, LAReply reply) {
    // Not recognised, cancelled by the person, cancelled by the system, locked out, and no reason.
    const Reason refusals[] = {refusal(-1), refusal(-2), refusal(-4), refusal(-8), std::nullopt};
    const auto fail = [&](std::size_t way) {
        if (way < std::size(refusals)) {
            return answerLater(reply, false, refusals[way]);
        }
        reply(false, NSError{.domain = "D", .code = -1});  // the device has no thread
        return true;
    };
    ask("evaluatePolicy", std::size(refusals) + 1, fail,
        [&] { return answerLater(reply, true, std::nullopt); });
}

LABiometryType biometryType(const LAContext&) {
    return ask("biometryType", 0, [] { return LABiometryType::faceID; });
}

}  // namespace KavrelCrypto
