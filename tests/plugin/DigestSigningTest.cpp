// "signDigest": the prompt, the signature, and when the call is finished.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

using DeviceUnderTest::PromptAnswer;

const std::vector<std::string> onePrompt = {"Authenticate to sign"};

class PluginSignDigest : public WithSaraUntouched {
  protected:
    static inline const Bytes digest = [] {
        Bytes bytes(32);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<std::uint8_t>(0xF0 + i);
        }
        return bytes;
    }();
    static inline const std::string digestB64 = OpenSSL::base64(digest);
};

TEST_F(PluginSignDigest, ASignatureIsOverTheSHA256OfTheDigestAndNotOverTheDigestItself) {
    const Bytes signature = OpenSSL::fromBase64(text(sign(sara, digestB64), "signatureB64"));
    EXPECT_EQ(signature.size(), 256U);
    EXPECT_TRUE(OpenSSL::verifies(saraKey(), digest, signature));
    EXPECT_FALSE(OpenSSL::verifiesDigest(saraKey(), digest, signature));
}

TEST_F(PluginSignDigest, TheResultIsSignatureAlgorithmAndTheDigestAsItWasSentOfWhateverLength) {
    // The last four bits of "B" belong to no byte; encoded anew, the byte would be "AA==".
    std::vector<std::string> digests = {digestB64, "", "AB=="};
    for (const std::size_t size : {2U, 3U, 31U, 33U, 64U, 1'000'000U}) {
        digests.push_back(OpenSSL::base64(Bytes(size, 0xFF)));
    }
    for (const std::string& sent : digests) {
        SCOPED_TRACE(sent.substr(0, 40));
        const Outcome outcome = sign(sara, sent);
        const std::string signature = text(outcome, "signatureB64");
        EXPECT_EQ(signature, OpenSSL::base64(OpenSSL::fromBase64(signature)));
        EXPECT_EQ(outcome,
                  resolved({{"signatureB64", signature}, {"algo", "RSA_SHA256"}, {"digestB64", sent}}));
        EXPECT_TRUE(OpenSSL::verifies(saraKey(), OpenSSL::fromBase64(sent), OpenSSL::fromBase64(signature)));
    }
}

TEST_F(PluginSignDigest, APromptThatIsNotAnsweredWithAMatchEndsInSignFailed) {
    for (const PromptAnswer answer : {PromptAnswer::cancel, PromptAnswer::noMatch}) {
        DeviceUnderTest::answerPrompts(answer);
        EXPECT_EQ(sign(sara, digestB64), rejected("sign_failed"));
    }
    EXPECT_EQ(promptsShown().size(), 2U);
}

TEST_F(PluginSignDigest, APersonWithoutAKeyIsPromptedBeforeTheCallIsRejected) {
    const TestCallRef pending = begin("signDigest", digestFor("nobody", digestB64));
    EXPECT_EQ(pending->timesFinished(), 0U);
    finish({pending});
    EXPECT_EQ(outcomeOf(*pending), rejected("sign_failed"));
    EXPECT_EQ(promptsShown(), onePrompt);
    EXPECT_EQ(call("hasKey", person("nobody")), resolved({{"exists", false}}));
}

TEST_F(PluginSignDigest, WithoutUsableBiometricsTheCallIsRejectedAtOnceAndWithoutAPrompt) {
    DeviceUnderTest::setBiometrics(LABiometryType::faceID, false, false);
    EXPECT_EQ(call("signDigest", digestFor(sara, digestB64)), rejected("sign_failed"));
    DeviceUnderTest::setBiometrics(LABiometryType::touchID, true, true);
    EXPECT_EQ(call("signDigest", digestFor(sara, digestB64)), rejected("sign_failed"));
    DeviceUnderTest::setBiometrics(LABiometryType::none, false, false);
    EXPECT_EQ(call("signDigest", digestFor(sara, digestB64)), rejected("sign_failed"));
    EXPECT_TRUE(promptsShown().empty());
}

TEST_F(PluginSignDigest, SeveralCallsArePendingAtOnceAndEachThatIsNotInterruptedGetsItsOwnSignature) {
    const bool promptsInterrupt = DeviceUnderTest::promptsInterrupt();
    std::vector<TestCallRef> calls;
    for (std::uint8_t i = 0; i < 8; ++i) {
        const std::string whose = i % 4 == 2 ? "nobody" : sara;
        calls.push_back(begin("signDigest", digestFor(whose, OpenSSL::base64(Bytes{i}))));
    }
    EXPECT_TRUE(std::all_of(promptsInterrupt ? calls.end() - 1 : calls.begin(), calls.end(),
                            [](const auto& c) { return c->timesFinished() == 0; }));
    finish(calls);
    for (std::uint8_t i = 0; i < 8; ++i) {
        const Outcome outcome = outcomeOf(*calls[i]);
        if (i % 4 == 2 || (promptsInterrupt && i != 7)) {
            EXPECT_EQ(outcome, rejected("sign_failed"));
        } else {
            EXPECT_EQ(text(outcome, "digestB64"), OpenSSL::base64(Bytes{i}));
            EXPECT_TRUE(
                OpenSSL::verifies(saraKey(), Bytes{i}, OpenSSL::fromBase64(text(outcome, "signatureB64"))));
        }
    }
    EXPECT_EQ(promptsShown().size(), 8U);
}

TEST_F(PluginSignDigest, WhatIsNotWholeBase64IsInvalidAndShowsNoPrompt) {
    using namespace std::string_literals;
    for (const std::string& wrong : {"A"s, "AB"s, "AAA=="s, "AA=A"s, " AAAA"s, "AAAA\n"s, "AA-A"s, "AAA\0"s,
                                     "👩"s, digestB64.substr(0, 43), std::string(999'999, 'A') + "?"}) {
        EXPECT_EQ(call("signDigest", digestFor(sara, wrong)), rejected("invalid digestB64"))
            << '"' << wrong.substr(0, 60) << '"';
    }
    // A prompt of any of them would have come before this one.
    sign(sara, digestB64);
    EXPECT_EQ(promptsShown(), onePrompt);
}

class PluginSignDigestWhileTheKeyChanges : public OnANewDevice {
  protected:
    void SetUp() override {
        OnANewDevice::SetUp();
        DeviceUnderTest::answerPrompts(PromptAnswer::match);
        call("ensureKey", person("0012345678"));
    }
};

TEST_F(PluginSignDigestWhileTheKeyChanges, TheKeyIsLookedUpOnlyAfterThePrompt) {
    const TestCallRef pending = begin("signDigest", digestFor("0012345678", "AAAA"));
    call("ensureKey", person("0012345678"));
    finish({pending});
    const std::string newKey = publicKeyPem("0012345678");
    EXPECT_TRUE(OpenSSL::verifies(OpenSSL::publicKey(newKey), Bytes{0, 0, 0},
                                  OpenSSL::fromBase64(text(outcomeOf(*pending), "signatureB64"))));
}

TEST_F(PluginSignDigestWhileTheKeyChanges, AKeyThatIsDeletedDuringThePromptSignsNothing) {
    const TestCallRef pending = begin("signDigest", digestFor("0012345678", "AAAA"));
    call("deleteKey", person("0012345678"));
    finish({pending});
    EXPECT_EQ(outcomeOf(*pending), rejected("sign_failed"));
}

}  // namespace
}  // namespace KavrelCrypto
