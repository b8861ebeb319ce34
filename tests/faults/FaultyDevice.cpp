#include "tests/faults/FaultyDevice.hpp"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <utility>

#include "platform/Dispatch.hpp"
#include "tests/support/NativeDevice.hpp"

namespace KavrelCrypto {
namespace {

struct State {
    MemoryPhone phone;
    std::vector<FaultyDevice::Fault> faults;
    std::vector<FaultyDevice::Operation> operations;
    std::vector<std::function<void()>> replies;  // of prompts, for a thread of the device's own
    std::vector<std::function<void()>> mainQueue;
    std::vector<std::weak_ptr<LAContext>> contexts;
};

State& state() {
    static State instance;
    return instance;
}

/// A way in which an operation can fail: its answer, and the localized description of the error, if there is
/// one.
template <typename Answer>
struct Way {
    std::function<Answer()> answer;
    std::string reason;
};

template <typename Answer>
using Ways = std::vector<Way<Answer>>;

/// Counts the operation, and lets it succeed unless it is to fail.
template <typename Answer, typename Success>
Answer ask(std::string name, const Ways<Answer>& ways, const Success& success) {
    const std::size_t position = state().operations.size();
    state().operations.push_back({std::move(name), ways.size(), false, ""});
    for (const FaultyDevice::Fault& fault : state().faults) {
        if (fault.position == position) {
            state().operations.back().hasFailed = true;
            state().operations.back().reason = ways.at(fault.way).reason;
            return ways.at(fault.way).answer();
        }
    }
    return success();
}

/// Returns the word that the tests have for the item of this name in the keychain.
std::string itemNamed(const std::string& name) {
    const std::pair<const char*, const char*> kinds[] = {{"com.solbera.app.privatekey.", "private key"},
                                                         {"com.solbera.app.publickey.", "public key"},
                                                         {"com.kavrel.app.privatekey", "utility private key"},
                                                         {"com.kavrel.app.publickey", "utility public key"},
                                                         {"com.ios.kavrel.cachedCSR", "slot"}};
    for (const auto& [prefix, kind] : kinds) {
        if (name.starts_with(prefix)) {
            return kind;
        }
    }
    return name;
}

/// The statuses that platform/Security.hpp names. The component does not tell one failure from another.
constexpr OSStatus failingStatuses[] = {errSecParam, errSecDuplicateItem, errSecItemNotFound,
                                        errSecInteractionNotAllowed};

Ways<OSStatus> failingStatusWays() {
    Ways<OSStatus> ways;
    for (const OSStatus status : failingStatuses) {
        ways.push_back({[status] { return status; }, ""});
    }
    return ways;
}

/// Ways to fail with an error that has a message, with one that has none, and without an error. Where the
/// caller does not ask for the error, only the last one is left.
template <typename Answer>
Ways<Answer> errorWays(std::optional<NSError>* error, Answer answer) {
    const auto with = [=](const NSError& reason) -> Way<Answer> {
        return {[=] {
                    *error = reason;
                    return answer;
                },
                reason.localizedDescription()};
    };
    Ways<Answer> ways;
    if (error != nullptr) {
        ways.push_back(with({.domain = "D", .code = -1, .userInfo = {{"NSLocalizedDescription", "why"}}}));
        ways.push_back(with({.domain = "D", .code = -2}));
    }
    ways.push_back({[=] { return answer; }, ""});
    return ways;
}

Ways<bool> refusalWays(std::optional<NSError>* error) {
    Ways<bool> ways;
    for (const std::int64_t code : {LAErrorBiometryLockout, LAErrorBiometryNotAvailable,
                                    LAErrorBiometryNotEnrolled, std::int64_t{-5}, std::int64_t{0}}) {
        ways.push_back({[=] {
                            *error = NSError{.domain = "com.apple.LocalAuthentication", .code = code};
                            return false;
                        },
                        std::to_string(code)});
    }
    ways.push_back({[] { return false; }, ""});
    return ways;
}

/// Calls `reply` later, on a thread of the device's own.
void answerLater(LAReply reply, bool success, std::optional<NSError> error) {
    state().replies.push_back([reply = std::move(reply), success, error = std::move(error)] {
        std::thread(reply, success, error).join();
    });
}

Ways<bool> promptWays(const LAReply& reply) {
    Ways<bool> ways;
    // Not recognised, cancelled by the person, cancelled by the system, locked out.
    for (const std::int64_t code : {-1, -2, -4, -8}) {
        ways.push_back({[=] {
                            answerLater(reply, false,
                                        NSError{.domain = "com.apple.LocalAuthentication", .code = code});
                            return true;
                        },
                        "prompt"});
    }
    ways.push_back({[=] {
                        answerLater(reply, false, std::nullopt);
                        return true;
                    },
                    ""});
    ways.push_back({[=] {  // the device has no thread
                        reply(false, NSError{.domain = "D", .code = -1});
                        return true;
                    },
                    "no thread"});
    return ways;
}

}  // namespace

namespace FaultyDevice {

void start(MemoryPhone phone, std::vector<Fault> faults) {
    state() = {.phone = std::move(phone),
               .faults = std::move(faults),
               .operations = {},
               .replies = {},
               .mainQueue = {},
               .contexts = {}};
}

void repair() {
    state().faults.clear();
    state().operations.clear();
}

MemoryPhone& phone() {
    return state().phone;
}

const std::vector<Operation>& operations() {
    return state().operations;
}

bool hasContextInUse() {
    return std::any_of(state().contexts.begin(), state().contexts.end(),
                       [](const std::weak_ptr<LAContext>& context) { return !context.expired(); });
}

}  // namespace FaultyDevice

void NativeDevice::runMainQueueUntil(const std::function<bool()>& done) {
    while (!done()) {
        for (const auto& reply : std::exchange(state().replies, {})) {
            reply();
        }
        for (const auto& task : std::exchange(state().mainQueue, {})) {
            task();
        }
    }
}

void print(const std::string&) {}

void dispatchAsyncMain(std::function<void()> task) {
    state().mainQueue.push_back(std::move(task));
}

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    EXPECT_EQ(result, nullptr);
    return ask("SecItemAdd " + itemNamed(nameIn(attributes)), failingStatusWays(),
               [&] { return state().phone.add(attributes); });
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    Ways<OSStatus> ways = failingStatusWays();
    // Success without the item, with one of another kind, and with a key that is null or bytes that are not
    // UTF-8.
    for (const SecItemResult& other :
         {SecItemResult(), SecItemResult(SecKeyRef()), SecItemResult(Bytes{0xFF, 0xFE})}) {
        ways.push_back({[=] {
                            *result = other;
                            return errSecSuccess;
                        },
                        ""});
    }
    return ask("SecItemCopyMatching " + itemNamed(nameIn(query)), ways, [&] {
        const OSStatus status = state().phone.copyMatching(query, result);
        state().operations.back().hasFailed = status != errSecSuccess;
        return status;
    });
}

OSStatus SecItemDelete(const CFDictionary& query) {
    return ask("SecItemDelete " + itemNamed(nameIn(query)), failingStatusWays(),
               [&] { return state().phone.remove(query); });
}

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    Ways<SecKeyRef> ways = errorWays(error, SecKeyRef());
    for (const bool isPrivate : {true, false}) {  // one half is stored
        ways.push_back({[=] {
                            state().phone.createHalf(parameters, isPrivate);
                            return SecKeyRef();
                        },
                        ""});
    }
    const std::string tag = nameIn(*valueIn<CFDictionary>(parameters, kSecPrivateKeyAttrs));
    return ask("SecKeyCreateRandomKey " + itemNamed(tag), ways,
               [&] { return state().phone.createRandomKey(parameters); });
}

SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key) {
    return ask("SecKeyCopyPublicKey", Ways<SecKeyRef>{{[] { return SecKeyRef(); }, ""}},
               [&]() -> SecKeyRef { return std::make_shared<const SecKey>(key->pair, false); });
}

std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error) {
    return ask("SecKeyCopyExternalRepresentation", errorWays(error, std::optional<Bytes>()),
               [&] { return std::optional(MemoryPhone::publicKey(key->pair)); });
}

std::size_t SecKeyGetBlockSize(const SecKeyRef&) {
    return ask("SecKeyGetBlockSize", Ways<std::size_t>{{[] { return std::size_t{0}; }, ""}},
               [] { return std::size_t{256}; });
}

std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm, BytesView dataToSign,
                                           std::optional<NSError>* error) {
    return ask("SecKeyCreateSignature", errorWays(error, std::optional<Bytes>()),
               [&] { return std::optional(MemoryPhone::signature(key->pair, dataToSign)); });
}

bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm, BytesView signedData, BytesView signature,
                           std::optional<NSError>* error) {
    return ask("SecKeyVerifySignature", errorWays(error, false), [&] {
        const Bytes expected = MemoryPhone::signature(key->pair, signedData);
        const bool isGood = std::equal(expected.begin(), expected.end(), signature.begin(), signature.end());
        state().operations.back().hasFailed = !isGood;
        return isGood;
    });
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant, SecAccessControlCreateFlags,
                                                    std::optional<NSError>*) {
    fatalError("no method of the plugin makes an access control");
}

SecCertificateRef SecCertificateCreateWithData(BytesView data) {
    return ask("SecCertificateCreateWithData", Ways<SecCertificateRef>{{[] { return nullptr; }, ""}},
               [&]() -> SecCertificateRef {
                   return std::make_shared<const SecCertificate>(MemoryPhone::pairOfCertificate(data));
               });
}

SecPolicyRef SecPolicyCreateBasicX509() {
    return ask("SecPolicyCreateBasicX509", Ways<SecPolicyRef>{},
               [] { return std::make_shared<const SecPolicy>(); });
}

OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef&,
                                        SecTrustRef* trust) {
    const auto succeed = [=] {
        *trust = std::make_shared<const SecTrust>(certificate->pair);
        return errSecSuccess;
    };
    Ways<OSStatus> ways = failingStatusWays();
    ways.push_back({[] { return errSecSuccess; }, ""});  // without a trust object
    ways.push_back({[=] {
                        succeed();
                        return errSecParam;
                    },
                    ""});
    return ask("SecTrustCreateWithCertificates", ways, succeed);
}

SecKeyRef SecTrustCopyKey(const SecTrustRef& trust) {
    return ask("SecTrustCopyKey", Ways<SecKeyRef>{{[] { return nullptr; }, ""}},
               [&]() -> SecKeyRef { return std::make_shared<const SecKey>(trust->pair, false); });
}

LAContextRef makeLAContext() {
    auto context = std::make_shared<LAContext>();
    state().contexts.push_back(context);
    return ask("makeLAContext", Ways<LAContextRef>{}, [&] { return context; });
}

bool canEvaluatePolicy(LAContext&, LAPolicy, std::optional<NSError>* error) {
    return ask("canEvaluatePolicy", refusalWays(error), [] { return true; });
}

void evaluatePolicy(const LAContextRef&, LAPolicy, const std::string&, LAReply reply) {
    ask("evaluatePolicy", promptWays(reply), [&] {
        answerLater(reply, true, std::nullopt);
        return true;
    });
}

LABiometryType biometryType(const LAContext&) {
    return ask("biometryType", Ways<LABiometryType>{}, [] { return LABiometryType::faceID; });
}

}  // namespace KavrelCrypto
