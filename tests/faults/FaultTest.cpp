// Every operation that a method of the plugin asks a device for fails, alone and together with a second one,
// in each way in which it can. The tests do not know the operations: they let the first one fail, then the
// next, until a call comes to its end without.

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <string_view>
#include <thread>
#include <tuple>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/faults/FaultyDevice.hpp"
#include "tests/plugin/WebLayer.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto {
namespace {

using Fault = FaultyDevice::Fault;
using Operation = FaultyDevice::Operation;
using Items = std::vector<std::string>;

const std::string sara = "0012345678";
const std::string privateTag = "com.solbera.app.privatekey." + sara;
const std::string publicTag = "com.solbera.app.publickey." + sara;
const std::string utilityPrivateTag = "com.kavrel.app.privatekey" + sara;
const std::string utilityPublicTag = "com.kavrel.app.publickey" + sara;
const std::string slot = "com.ios.kavrel.cachedCSR";

constexpr int saraPair = 1;
constexpr int utilityPair = 2;
constexpr int otherPair = 3;

std::string saraCertificate() {
    return base64Encode(MemoryPhone::certificate(saraPair));
}

/// A call that was made on a device with faults, and what came of it.
struct Trial {
    Outcome outcome;
    std::vector<Operation> operations;
    Items before;
    Items after;

    /// Returns the operation `name` if it has failed when it was asked for the first, second, … time; any
    /// time if `occurrence` is 0. Otherwise returns null.
    [[nodiscard]] const Operation* failure(std::string_view name, int occurrence = 0) const {
        int count = 0;
        for (const Operation& operation : operations) {
            if (operation.name == name && (++count == occurrence || occurrence == 0) && operation.hasFailed) {
                return &operation;
            }
        }
        return nullptr;
    }
};

/// Returns the items whose names begin with `prefix`.
Items under(const std::string& prefix, const Items& items) {
    Items found;
    std::copy_if(items.begin(), items.end(), std::back_inserter(found),
                 [&](const std::string& item) { return item.starts_with(prefix); });
    return found;
}

Items withoutThose(const std::string& prefix, Items items) {
    std::erase_if(items, [&](const std::string& item) { return item.starts_with(prefix); });
    return items;
}

bool contains(const Items& items, const std::string& item) {
    return std::find(items.begin(), items.end(), item) != items.end();
}

// What each method is to come to, by what failed on the way.

void expectBiometricStatus(const Trial& trial) {
    const std::pair<const char*, const char*> statuses[] = {
        {"-8", "BIOMETRIC_ERROR_LOCKOUT"},       {"-6", "BIOMETRIC_ERROR_NO_HARDWARE"},
        {"-7", "BIOMETRIC_ERROR_NONE_ENROLLED"}, {"-5", "BIOMETRIC_STATUS_UNKNOWN"},
        {"0", "BIOMETRIC_STATUS_UNKNOWN"},       {"", "UNKNOWN"}};
    const Operation* refusal = trial.failure("canEvaluatePolicy");
    std::string status = "BIOMETRIC_SUCCESS";
    for (const auto& [reason, text] : statuses) {
        if (refusal != nullptr && refusal->reason == reason) {
            status = text;
        }
    }
    EXPECT_EQ(trial.outcome,
              resolved({{"enabled", refusal == nullptr}, {"status", status}, {"type", std::int64_t{2}}}));
    EXPECT_EQ(trial.after, trial.before);
}

void expectHasKey(const Trial& trial) {
    EXPECT_EQ(trial.outcome,
              resolved({{"exists", trial.failure("SecItemCopyMatching private key") == nullptr}}));
    EXPECT_EQ(trial.after, trial.before);
}

void expectKeyInfo(const Trial& trial) {
    const auto* result = std::get_if<JSObject>(&trial.outcome);
    if (trial.failure("SecItemCopyMatching private key", 1)) {
        EXPECT_EQ(trial.outcome, rejected("not found"));
    } else if (trial.failure("SecItemCopyMatching private key", 2) || trial.failure("SecKeyCopyPublicKey")) {
        EXPECT_EQ(trial.outcome, rejected("failed to get public key"));
    } else {
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(*result->find("certificate"), trial.failure("SecItemCopyMatching slot")
                                                    ? JSValue(nullptr)
                                                    : JSValue("what was in the slot"));
        EXPECT_EQ(result->members().size(), 6U);
    }
    EXPECT_EQ(trial.after, trial.before);
}

void expectCertificate(const Trial& trial) {
    EXPECT_EQ(trial.outcome, resolved({{"certPem", trial.failure("SecItemCopyMatching slot")
                                                       ? JSValue(nullptr)
                                                       : JSValue("what was in the slot")}}));
    EXPECT_EQ(trial.after, trial.before);
}

void expectSignature(const Trial& trial) {
    const bool hasFailed = std::any_of(trial.operations.begin(), trial.operations.end(),
                                       [](const Operation& operation) { return operation.hasFailed; });
    const std::string signature = base64Encode(MemoryPhone::signature(saraPair, bytesOf("digest")));
    EXPECT_EQ(trial.outcome, hasFailed ? rejected("sign_failed")
                                       : resolved({{"signatureB64", signature},
                                                   {"algo", "RSA_SHA256"},
                                                   {"digestB64", base64Encode(bytesOf("digest"))}}));
    EXPECT_EQ(trial.after, trial.before);
}

void expectDeletion(const Trial& trial) {
    EXPECT_EQ(trial.outcome, resolved({{"deleted", true}}));
    Items expected = trial.before;
    const std::pair<const char*, const std::string&> deletions[] = {{"SecItemDelete private key", privateTag},
                                                                    {"SecItemDelete public key", publicTag},
                                                                    {"SecItemDelete slot", slot}};
    for (const auto& [operation, name] : deletions) {
        expected = trial.failure(operation) ? expected : withoutThose(name, expected);
    }
    EXPECT_EQ(trial.after, expected);
}

void expectStored(const Trial& trial) {
    if (trial.failure("SecItemCopyMatching private key", 1)) {
        EXPECT_EQ(trial.outcome, rejected("Certificate is not valid (key missing)"));
        EXPECT_EQ(trial.after, trial.before);
        return;
    }
    for (const char* operation :
         {"SecItemCopyMatching private key", "SecKeyCopyPublicKey", "SecCertificateCreateWithData",
          "SecTrustCreateWithCertificates", "SecTrustCopyKey", "SecKeyCopyExternalRepresentation"}) {
        if (trial.failure(operation)) {
            EXPECT_EQ(trial.outcome, rejected("Certificate is not valid"));
            EXPECT_EQ(trial.after, trial.before);
            return;
        }
    }
    EXPECT_EQ(trial.outcome, resolved({{"stored", true}}));
    // The old text is deleted, then the new one is added. What could not be deleted is in the way.
    Items expected = trial.failure("SecItemDelete slot") ? trial.before : withoutThose(slot, trial.before);
    if (trial.failure("SecItemDelete slot") == nullptr && trial.failure("SecItemAdd slot") == nullptr) {
        expected.push_back(slot + " = " + saraCertificate());
    }
    EXPECT_EQ(trial.after, expected);
}

/// Expects of Sara's pair what the last generation has made of it: there is one whole pair or, if it failed,
/// at most the half that it stored. What could not be deleted may lie beside it.
void expectPairAsGenerated(const Trial& trial) {
    const auto last =
        std::find_if(trial.operations.rbegin(), trial.operations.rend(),
                     [](const Operation& o) { return o.name == "SecKeyCreateRandomKey private key"; });
    const Items privateHalf = under(privateTag, trial.after);
    const Items publicHalf = under(publicTag, trial.after);
    if (last == trial.operations.rend()) {
        EXPECT_EQ(privateHalf, under(privateTag, trial.before));
        return;
    }
    if (trial.failure("SecItemDelete private key") || trial.failure("SecItemDelete public key")) {
        return;
    }
    if (last->hasFailed) {
        EXPECT_LE(privateHalf.size() + publicHalf.size(), 1U);
        return;
    }
    ASSERT_EQ(privateHalf.size(), 1U);
    const std::string number = privateHalf[0].substr(privateHalf[0].rfind(' '));
    EXPECT_EQ(publicHalf, Items{publicTag + " = public" + number});
    EXPECT_FALSE(contains(trial.before, privateHalf[0]));
}

void expectOthersUntouched(const Trial& trial) {
    for (const std::string& prefix : {std::string("com.solbera.app.privatekey.other"), slot}) {
        EXPECT_EQ(under(prefix, trial.after), under(prefix, trial.before));
    }
}

Outcome rejectedAfter(const char* message, const Operation& generation) {
    return rejected(message,
                    generation.reason.empty() ? "Unknown error in SecKeyCreateRandomKey" : generation.reason);
}

void expectKey(const Trial& trial) {
    if (const Operation* generation = trial.failure("SecKeyCreateRandomKey private key")) {
        EXPECT_EQ(trial.outcome, rejectedAfter("ensure_key_failed", *generation));
    } else {
        EXPECT_EQ(trial.outcome, resolved({{"ok", true}}));
    }
    EXPECT_EQ(under("com.kavrel", trial.after), under("com.kavrel", trial.before));
    expectPairAsGenerated(trial);
    expectOthersUntouched(trial);
}

/// Expects a request with the public key of the pair that signed it, whose private half is under `tag`.
void expectRequestBy(const std::string& tag, const Trial& trial) {
    const Bytes der = base64Decode(text(trial.outcome, "csrPem")).value();
    ASSERT_GT(der.size(), 256U);
    const std::uint8_t pair = der[der.size() - 256];
    const Bytes modulus(256, pair);
    EXPECT_NE(std::search(der.begin(), der.end(), modulus.begin(), modulus.end()), der.end());
    EXPECT_TRUE(contains(trial.after, tag + " = private " + std::to_string(pair))) << int{pair};
}

/// Expects the utility pair to be as it was, with what a generation has added to it: nothing is ever deleted
/// there.
void expectUtilityPairExtended(const Trial& trial) {
    const Items before = under("com.kavrel.app", trial.before);
    const Items after = under("com.kavrel.app", trial.after);
    ASSERT_GE(after.size(), before.size());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin()));
    const std::size_t added = after.size() - before.size();
    const bool wasAskedFor =
        std::any_of(trial.operations.begin(), trial.operations.end(),
                    [](const Operation& o) { return o.name == "SecKeyCreateRandomKey utility private key"; });
    if (trial.failure("SecKeyCreateRandomKey utility private key")) {
        EXPECT_LE(added, 1U);  // a half
    } else {
        EXPECT_EQ(added, wasAskedFor ? 2U : 0U);
    }
}

void expectRequest(const Trial& trial) {
    const auto isUtilityLookup = [](const Operation& operation) {
        return operation.name == "SecItemCopyMatching utility private key";
    };
    const auto builder = std::find_if(trial.operations.begin(), trial.operations.end(), isUtilityLookup);
    // Before the builder looks for its keys, the person's key has to be there.
    const Operation* generation = trial.failure("SecKeyCreateRandomKey private key");
    const bool isKeyMissing = generation != nullptr && generation < std::to_address(builder);
    const bool isUtilityPairMissing = trial.failure("SecKeyCreateRandomKey utility private key") ||
                                      trial.failure("SecItemCopyMatching utility public key", 2);
    if (isKeyMissing) {
        EXPECT_EQ(trial.outcome, rejectedAfter("ensure_key_failed", *generation));
    } else if (isUtilityPairMissing || trial.failure("SecKeyCopyExternalRepresentation") ||
               trial.failure("SecKeyCreateSignature") || trial.failure("SecKeyVerifySignature")) {
        EXPECT_EQ(trial.outcome, rejected("csr_failed",
                                          "The operation couldn\xE2\x80\x99t be completed. "
                                          "(KavrelCrypto.CSRCreationError error 2.)"));
    } else {
        const bool isUtilityPairFound = trial.failure("SecItemCopyMatching utility private key") == nullptr &&
                                        trial.failure("SecItemCopyMatching utility public key", 1) == nullptr;
        const bool isFallback = trial.failure("SecKeyCopyPublicKey") != nullptr || generation != nullptr;
        expectRequestBy(isUtilityPairFound || isFallback ? utilityPrivateTag : privateTag, trial);
    }
    expectUtilityPairExtended(trial);
    expectPairAsGenerated(trial);
    expectOthersUntouched(trial);
}

/// Returns what the component asked for, a line for each operation.
std::string asked(const Trial& trial) {
    std::string lines;
    for (const Operation& operation : trial.operations) {
        lines += operation.name + (operation.hasFailed ? ", which failed " + operation.reason : "") + "\n";
    }
    return lines;
}

struct Method {
    std::string_view name;
    JSObject (*options)();
    void (*expect)(const Trial&);
};

JSObject ofSara() {
    return person(sara);
}

constexpr Method methods[] = {
    {"hasKey", ofSara, expectHasKey},
    {"getKeyInfo", ofSara, expectKeyInfo},
    {"deleteKey", ofSara, expectDeletion},
    {"storeCertificate", [] { return certificateOf(sara, saraCertificate()); }, expectStored},
    {"getCertificate", ofSara, expectCertificate},
    {"createCSR", [] { return request(identity(sara)); }, expectRequest},
    {"signDigest", [] { return digestFor(sara, base64Encode(bytesOf("digest"))); }, expectSignature},
    {"ensureKey", ofSara, expectKey},
    {"getBiometricStatus", [] { return JSObject(); }, expectBiometricStatus}};

constexpr bool isTried(std::string_view name) {
    return std::any_of(std::begin(methods), std::end(methods),
                       [&](const Method& method) { return method.name == name; });
}
#define ADVERTISED(name)
#define METHOD(name) static_assert(isTried(#name), "methods[] lacks " #name);
KAVREL_CRYPTO_METHODS(ADVERTISED, METHOD)
#undef ADVERTISED
#undef METHOD

/// What is in the keychain when the call is made, besides the key of another person and the certificate.
struct Keychain {
    const char* name;
    bool hasPrivateKey;
    bool hasPublicKey;
    bool hasUtilityPrivateKey;
    bool hasUtilityPublicKey;
};

constexpr Keychain keychains[] = {{"WithThePair", true, true, false, false},
                                  {"WithoutAKey", false, false, false, false},
                                  {"WithAPublicHalf", false, true, false, false},
                                  {"WithBothPairs", true, true, true, true},
                                  {"WithHalfAUtilityPair", true, true, true, false}};

MemoryPhone phoneWith(const Keychain& keychain) {
    MemoryPhone phone;
    const auto addKey = [&](bool isThere, const std::string& tag, int pair, bool isPrivate) {
        if (isThere) {
            phone.addKey(tag, pair, isPrivate);
        }
    };
    addKey(keychain.hasPrivateKey, privateTag, saraPair, true);
    addKey(keychain.hasPublicKey, publicTag, saraPair, false);
    addKey(keychain.hasUtilityPrivateKey, utilityPrivateTag, utilityPair, true);
    addKey(keychain.hasUtilityPublicKey, utilityPublicTag, utilityPair, false);
    addKey(true, "com.solbera.app.privatekey.other", otherPair, true);
    phone.addPassword(slot, "what was in the slot");
    return phone;
}

/// How many operations fail in one call. After the first the component takes another way, whose operations
/// fail as the second. Under the sanitizers, where that takes long, it is one.
constexpr std::size_t mostFaults = MOST_FAULTS;

/// What has been tried, for the line at the end.
struct {
    int operations = 0;
    int faults = 0;
    int stops = 0;
    int pairs = 0;
} tried;

using Parameters = std::tuple<Method, Keychain>;

class EveryFault : public testing::TestWithParam<Parameters> {
  protected:
    static void TearDownTestSuite() {
        std::cout << "Let " << tried.operations << " operations of " << std::size(methods) << " methods on "
                  << std::size(keychains) << " keychains fail in " << tried.faults << " ways (" << tried.stops
                  << " stop the process), and in " << tried.pairs << " pairs of ways.\n";
    }

    [[nodiscard]] static const Method& method() {
        return std::get<Method>(GetParam());
    }

    /// Makes the call while `faults` are on the device.
    static Trial run(const std::vector<Fault>& faults) {
        device() = {.phone = phoneWith(std::get<Keychain>(GetParam())), .faults = faults};
        Trial trial{.outcome = {}, .operations = {}, .before = device().phone.items(), .after = {}};
        const TestCallRef call = begin(std::string(method().name), method().options());
        finish({call});
        trial.outcome = outcomeOf(*call);
        trial.operations = device().operations;
        trial.after = device().phone.items();
        EXPECT_EQ(call->finishedOn, std::this_thread::get_id());
        EXPECT_EQ(call.use_count(), 1);
        EXPECT_FALSE(device().phone.hasKeysInUse());
        for (const auto& context : device().contexts) {
            EXPECT_TRUE(context.expired());
        }
        return trial;
    }

    /// Expects that nothing is left that would keep the person from a new key.
    static void expectRecovery() {
        device().faults.clear();
        const Items before = device().phone.items();
        EXPECT_EQ(call("ensureKey", person(sara)), resolved({{"ok", true}}));
        const Items after = device().phone.items();
        EXPECT_EQ(under(privateTag, after).size(), 1U);
        EXPECT_EQ(under(publicTag, after).size(), 1U);
        EXPECT_FALSE(contains(before, under(privateTag, after).front()));
    }

    /// Whether a failure of the operation at `position` is to stop the process: a public key that the
    /// platform has just derived can be exported.
    static bool stopsTheProcess(const Trial& trial, std::size_t position) {
        const std::string_view name = method().name;
        return (name == "getKeyInfo" || name == "storeCertificate") &&
               trial.operations[position].name == "SecKeyCopyExternalRepresentation" &&
               trial.operations[position - 1].name == "SecKeyCopyPublicKey";
    }

    /// Runs the call with `faults`, then with one more fault at each later position, in each of its ways, and
    /// so on until there are `mostFaults`.
    static void tryAll(std::vector<Fault> faults) {
        const Trial trial = run(faults);
        method().expect(trial);
        expectRecovery();
        ASSERT_FALSE(HasFailure()) << "by a call that asked for\n" << asked(trial);
        if (faults.size() == mostFaults) {
            return;
        }
        for (std::size_t position = faults.empty() ? 0 : faults.back().position + 1;
             position < trial.operations.size(); ++position) {
            tried.operations += faults.empty() && trial.operations[position].ways > 0 ? 1 : 0;
            for (std::size_t way = 0; way < trial.operations[position].ways; ++way) {
                faults.push_back({position, way});
                ++(faults.size() == 1 ? tried.faults : tried.pairs);
                if (stopsTheProcess(trial, position)) {
                    ++tried.stops;
                    EXPECT_DEATH(run(faults), "a public key that was just derived must be exportable");
                } else {
                    tryAll(faults);
                }
                faults.pop_back();
                ASSERT_FALSE(HasFailure());
            }
        }
    }
};

TEST_P(EveryFault, EndsTheCallOnceAndAsItShould) {
    tryAll({});
}

INSTANTIATE_TEST_SUITE_P(Plugin, EveryFault,
                         testing::Combine(testing::ValuesIn(methods), testing::ValuesIn(keychains)),
                         [](const testing::TestParamInfo<Parameters>& test) {
                             return std::string(std::get<Method>(test.param).name) +
                                    std::get<Keychain>(test.param).name;
                         });

}  // namespace
}  // namespace KavrelCrypto
