#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "keys/SecureKeyManager.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {

struct SecureKeyManagerOfATest {
    static std::shared_ptr<const SecureKeyManager> make() {
        return SecureKeyManager::make();
    }
};

namespace {

using testing::_;
using testing::ByMove;
using testing::DoAll;
using testing::InSequence;
using testing::NotNull;
using testing::Ref;
using testing::Return;
using testing::SaveArg;
using testing::SetArgPointee;

constexpr LAPolicy biometrics = LAPolicy::deviceOwnerAuthenticationWithBiometrics;
const Bytes data = hex("01 02 03");

class SecureKeyManagerSign : public testing::Test {
  protected:
    void sign(const SecureKeyManager& manager) {
        manager.sign("a", data,
                     [this](SecureKeyManager::SigningResult r) { results.push_back(std::move(r)); });
    }
    void sign() {
        sign(*SecureKeyManager::shared());
    }

    void expectPrompt() {
        expectPrompt(context);
    }
    void expectPrompt(const std::shared_ptr<LAContext>& made) {
        EXPECT_CALL(device, makeLAContext()).WillOnce(Return(made));
        EXPECT_CALL(device, canEvaluatePolicy(Ref(*made), biometrics, NotNull())).WillOnce(Return(true));
        EXPECT_CALL(device, evaluatePolicy(LAContextRef(made), biometrics, "Authenticate to sign", _))
            .WillOnce(SaveArg<3>(&reply));
    }

    void expectLookup(SecKeyRef result) {
        CFDictionary query = keyLookup("com.solbera.app.privatekey.a");
        query.push_back({kSecUseAuthenticationContext, LAContextRef(context)});
        query.push_back({kSecUseAuthenticationUI, kSecUseAuthenticationUIAllow});
        EXPECT_CALL(device, SecItemCopyMatching(query, NotNull())).WillOnce(givesBack(std::move(result)));
    }

    /// Delivers the reply, and checks that nothing follows from it before the main queue runs.
    void answer(bool success, std::optional<NSError> error) {
        reply(success, std::move(error));
        EXPECT_TRUE(results.empty());
        EXPECT_EQ(device.mainQueue.size(), 1U);
        device.runMainQueue();
    }

    /// Expects a request that `fail` lets fail to pass the platform's reason on, or `own` where it has none.
    void expectFailure(const NSError& own, const std::function<void(std::optional<NSError>)>& fail) {
        const NSError platforms{.domain = "com.apple.LocalAuthentication", .code = -2};
        for (const bool hasReason : {true, false}) {
            results.clear();
            fail(hasReason ? std::optional(platforms) : std::nullopt);
            ASSERT_EQ(results.size(), 1U);
            ASSERT_TRUE(std::holds_alternative<NSError>(results[0]));
            EXPECT_EQ(std::get<NSError>(results[0]), hasReason ? platforms : own);
        }
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const std::shared_ptr<LAContext> context = std::make_shared<LAContext>();
    const SecKeyRef key = newKey();
    LAReply reply;
    std::vector<SecureKeyManager::SigningResult> results;
};

TEST_F(SecureKeyManagerSign, DeliversTheSignatureOnTheMainQueueAfterThePrompt) {
    expectPrompt();
    sign();
    expectLookup(key);
    EXPECT_CALL(device, SecKeyCreateSignature(key, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256, data,
                                              NotNull()))
        .WillOnce(Return(hex("AA BB")));
    answer(true, std::nullopt);
    EXPECT_EQ(std::get<Bytes>(results.at(0)), hex("AA BB"));
}

TEST_F(SecureKeyManagerSign, MakesAContextForEachRequest) {
    expectPrompt();
    expectPrompt(std::make_shared<LAContext>());
    sign();
    sign();
    reply(false, std::nullopt);
    device.runMainQueue();
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(SecureKeyManagerSign, FailsOnTheCallersThreadWhenBiometricsAreUnavailable) {
    expectFailure(managerError(-6, "Biometric authentication not available"),
                  [&](const std::optional<NSError>& reason) {
                      EXPECT_CALL(device, makeLAContext()).WillOnce(Return(context));
                      EXPECT_CALL(device, canEvaluatePolicy(Ref(*context), biometrics, NotNull()))
                          .WillOnce(DoAll(SetArgPointee<2>(reason), Return(false)));
                      sign();
                      EXPECT_TRUE(device.mainQueue.empty());
                  });
}

TEST_F(SecureKeyManagerSign, FailsWithoutLookingAKeyUpWhenThePromptFails) {
    expectFailure(managerError(-7, "Biometric authentication failed"),
                  [&](const std::optional<NSError>& reason) {
                      expectPrompt();
                      sign();
                      answer(false, reason);
                  });
}

TEST_F(SecureKeyManagerSign, FindsOutOnlyAfterThePromptThatThereIsNoKey) {
    expectPrompt();
    sign();
    expectLookup(nullptr);
    answer(true, std::nullopt);
    EXPECT_EQ(std::get<NSError>(results.at(0)), managerError(-4, "Private key not found"));
}

TEST_F(SecureKeyManagerSign, FailsWhenTheKeyDoesNotSign) {
    expectFailure(managerError(-5, "Unknown error creating signature"),
                  [&](const std::optional<NSError>& reason) {
                      expectPrompt();
                      sign();
                      expectLookup(key);
                      EXPECT_CALL(device, SecKeyCreateSignature)
                          .WillOnce(DoAll(SetArgPointee<3>(reason), Return(std::nullopt)));
                      answer(true, std::nullopt);
                  });
}

TEST_F(SecureKeyManagerSign, NeverCallsTheCompletionWhenTheManagerIsGone) {
    auto manager = SecureKeyManagerOfATest::make();
    expectPrompt();
    sign(*manager);
    manager.reset();
    reply(true, std::nullopt);
    device.runMainQueue();
    EXPECT_TRUE(results.empty());
}

TEST_F(SecureKeyManagerSign, KeepsTheContextUntilTheTaskHasRunAndNoLonger) {
    std::weak_ptr<LAContext> watched;
    {
        auto own = std::make_shared<LAContext>();
        watched = own;
        EXPECT_CALL(device, makeLAContext()).WillOnce(Return(ByMove(std::move(own))));
        EXPECT_CALL(device, canEvaluatePolicy).WillOnce(Return(true));
        EXPECT_CALL(device, evaluatePolicy).WillOnce(SaveArg<3>(&reply));
    }
    sign();
    reply(false, std::nullopt);
    EXPECT_FALSE(watched.expired());
    device.runMainQueue();
    EXPECT_TRUE(watched.expired());
}

/// A completion that holds something. Where it is destroyed, the alias and the data beside it are, too.
class Holding {
  public:
    std::function<void(SecureKeyManager::SigningResult)> completion() {
        return [held = std::exchange(held_, nullptr)](const SecureKeyManager::SigningResult&) {};
    }
    [[nodiscard]] long holders() const {
        return watched_.use_count();
    }

  private:
    std::shared_ptr<int> held_ = std::make_shared<int>();
    const std::weak_ptr<int> watched_ = held_;
};

TEST_F(SecureKeyManagerSign, HoldsAliasDataAndCompletionOnceAndUntilTheCompletionHasRun) {
    Holding holding;
    expectPrompt();
    SecureKeyManager::shared()->sign("a", data, holding.completion());
    reply(false, std::nullopt);
    EXPECT_EQ(holding.holders(), 1);
    device.runMainQueue();
    EXPECT_EQ(holding.holders(), 0);
}

TEST_F(SecureKeyManagerSign, HoldsNothingWhenItReturnsWithoutAPrompt) {
    Holding holding;
    EXPECT_CALL(device, makeLAContext()).WillOnce(Return(context));
    EXPECT_CALL(device, canEvaluatePolicy).WillOnce(Return(false));
    SecureKeyManager::shared()->sign("a", data, holding.completion());
    EXPECT_EQ(holding.holders(), 0);
}

}  // namespace
}  // namespace KavrelCrypto
