// Many calls at once, on many threads, and which thread finishes a call.

#include <algorithm>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

void onThreads(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

bool isOneOf(const Outcome& outcome, const std::vector<Outcome>& expected) {
    return std::find(expected.begin(), expected.end(), outcome) != expected.end();
}

bool isResolved(const Outcome& outcome) {
    return std::holds_alternative<JSObject>(outcome);
}

using PluginOnManyThreads = OnANewDevice;

TEST_F(PluginOnManyThreads, PersonsAreEnrolledSideBySideWithoutMixingTheirKeys) {
    onThreads(4, [](std::size_t i) {
        const std::string who = "person " + std::to_string(i);
        EXPECT_EQ(call("hasKey", person(who)), resolved({{"exists", false}}));
        EXPECT_EQ(call("ensureKey", person(who)), resolved({{"ok", true}}));
        EXPECT_EQ(call("hasKey", person(who)), resolved({{"exists", true}}));
        const OpenSSL::Key key = OpenSSL::publicKey(publicKeyPem(who));
        const OpenSSL::Request made = OpenSSL::parsedRequest(
            OpenSSL::fromBase64(text(call("createCSR", request(identity(who))), "csrPem")));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(X509_REQ_verify(made.get(), key.get()), 1);
        EXPECT_EQ(call("storeCertificate", certificateOf(who, OpenSSL::pem(OpenSSL::certificate(key)))),
                  resolved({{"stored", true}}));
        EXPECT_EQ(call("deleteKey", person(who)), resolved({{"deleted", true}}));
        EXPECT_EQ(call("hasKey", person(who)), resolved({{"exists", false}}));
        EXPECT_EQ(call("getBiometricStatus", JSObject()),
                  resolved({{"enabled", true}, {"status", "BIOMETRIC_SUCCESS"}, {"type", std::int64_t{2}}}));
    });
}

TEST_F(PluginOnManyThreads, CallsForOnePersonInterleaveAndEachEndsInOneOfItsWays) {
    call("ensureKey", person("Sara"));
    const std::string certPem = OpenSSL::pem(OpenSSL::certificate(OpenSSL::publicKey(publicKeyPem("Sara"))));
    onThreads(4, [&](std::size_t i) {
        for (int round = 0; round < 3; ++round) {
            if (i == 0) {
                EXPECT_EQ(call("deleteKey", person("Sara")), resolved({{"deleted", true}}));
            } else if (i == 1) {
                const Outcome ensured = call("ensureKey", person("Sara"));
                EXPECT_TRUE(ensured == resolved({{"ok", true}}) ||
                            std::get<TestCall::Rejection>(ensured).message == "ensure_key_failed");
            }
            const Outcome created = call("createCSR", request(identity("Sara")));
            EXPECT_TRUE(isResolved(created) ||
                        std::get<TestCall::Rejection>(created).message == "ensure_key_failed" ||
                        std::get<TestCall::Rejection>(created).message == "csr_failed");
            EXPECT_TRUE(isResolved(call("hasKey", person("Sara"))));
            const Outcome info = call("getKeyInfo", person("Sara"));
            EXPECT_TRUE(isResolved(info) ||
                        isOneOf(info, {rejected("not found"), rejected("failed to get public key")}));
            EXPECT_TRUE(isOneOf(call("storeCertificate", certificateOf("Sara", certPem)),
                                {resolved({{"stored", true}}), rejected("Certificate is not valid"),
                                 rejected("Certificate is not valid (key missing)")}));
            EXPECT_TRUE(isOneOf(call("getCertificate", person("Sara")),
                                {resolved({{"certPem", certPem}}), resolved({{"certPem", nullptr}})}));
        }
    });
    // A call of "createCSR" whose key was deleted and made again under it may have left a fallback pair,
    // which would sign in the place of the next key. Nothing else that they left behind gets in its way.
    DeviceUnderTest::deleteKeychainKeys(fallbackPrivateTag("Sara"));
    DeviceUnderTest::deleteKeychainKeys(fallbackPublicTag("Sara"));
    EXPECT_EQ(call("ensureKey", person("Sara")), resolved({{"ok", true}}));
    const Outcome created = call("createCSR", request(identity("Sara")));
    const OpenSSL::Request made = OpenSSL::parsedRequest(OpenSSL::fromBase64(text(created, "csrPem")));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(X509_REQ_verify(made.get(), OpenSSL::publicKey(publicKeyPem("Sara")).get()), 1);
}

using PluginOnManyThreadsWithSara = WithSaraEnrolled;

TEST_F(PluginOnManyThreadsWithSara, TheSlotHoldsOneOfTheCertificatesWholeWhoeverIsLast) {
    std::vector<Outcome> shown = {resolved({{"certPem", nullptr}})};
    std::vector<std::string> texts;
    for (int i = 0; i < 4; ++i) {
        texts.push_back(saraCertificatePem() + std::string(static_cast<std::size_t>(i) * 1000, '\n'));
        shown.push_back(resolved({{"certPem", texts.back()}}));
    }
    onThreads(4, [&](std::size_t i) {
        for (int round = 0; round < 10; ++round) {
            EXPECT_EQ(call("storeCertificate", certificateOf(sara, texts[i])), resolved({{"stored", true}}));
            EXPECT_TRUE(isOneOf(call("getCertificate", person(sara)), shown));
        }
    });
    const Outcome last = call("getCertificate", person(sara));
    EXPECT_TRUE(isOneOf(last, shown));
    EXPECT_NE(last, resolved({{"certPem", nullptr}}));
}

TEST_F(PluginOnManyThreadsWithSara, SignaturesAskedForOnManyThreadsAreAllFinishedOnTheMainOne) {
    constexpr std::size_t threads = 4;
    constexpr std::size_t each = 5;
    std::vector<TestCallRef> calls(threads * each);
    onThreads(threads, [&](std::size_t i) {
        for (std::size_t n = i * each; n < (i + 1) * each; ++n) {
            const Bytes digest(32, static_cast<std::uint8_t>(n));
            calls[n] = begin("signDigest", digestFor(n % 5 == 4 ? "nobody" : sara, OpenSSL::base64(digest)));
        }
    });
    finish(calls);
    for (std::size_t n = 0; n < calls.size(); ++n) {
        EXPECT_EQ(calls[n]->finishedOn, std::this_thread::get_id());
        const Outcome outcome = outcomeOf(*calls[n]);
        if (n % 5 == 4) {
            EXPECT_EQ(outcome, rejected("sign_failed"));
        } else {
            EXPECT_TRUE(OpenSSL::verifies(saraKey(), Bytes(32, static_cast<std::uint8_t>(n)),
                                          OpenSSL::fromBase64(text(outcome, "signatureB64"))));
        }
    }
    EXPECT_EQ(promptsShown().size(), calls.size());
}

TEST_F(PluginOnManyThreadsWithSara, ASignatureThatCannotPromptIsFinishedOnTheThreadThatAskedForIt) {
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, true, true);
    onThreads(1, [](std::size_t) {
        EXPECT_EQ(call("signDigest", digestFor(sara, "AAAA")), rejected("sign_failed"));
    });
}

TEST_F(PluginOnManyThreadsWithSara, AFinishedSignatureLetsItsCallGo) {
    const TestCallRef call = begin("signDigest", digestFor(sara, "AAAA"));
    finish({call});
    // The sensor's thread may take a moment to release what it has answered.
    for (int i = 0; i < 1000 && call.use_count() > 1; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(call.use_count(), 1);
}

}  // namespace
}  // namespace KavrelCrypto
