// Calls of the plugin that fail in the keychain of the desktop device, and what the keychain holds
// afterwards.

#include <gmock/gmock.h>
#include <memory>
#include <utility>
#include <vector>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/desktop/TestDevice.hpp"
#include "tests/support/TestCall.hpp"

namespace KavrelCrypto {
namespace {

/// Makes a call and returns the message of its rejection; "(resolved)" if there is none.
std::string messageOf(std::string_view method, JSObject options) {
    const auto call = std::make_shared<TestCall>(std::move(options));
    DigitalSignPlugin().perform(method, call);
    return call->rejections.empty() ? "(resolved)" : call->rejections.at(0).message;
}

JSObject identityOf(const std::string& nationalCode) {
#define FIELD(name) {#name, nationalCode},
    return {KAVREL_CRYPTO_USER_INFO(FIELD)};
#undef FIELD
}

/// A person has keys, and a certificate is in the slot.
class PluginOnAFailingKeychain : public testing::Test {
  protected:
    PluginOnAFailingKeychain() {
        EXPECT_EQ(messageOf("ensureKey", {{"nationalCode", "1"}}), "(resolved)");
        addPassword("com.ios.kavrel.cachedCSR", "a certificate");
    }

    /// Lets the keychain refuse to store anything, as on a full disk.
    void refuseNewItems() const {
        device.execute(
            "CREATE TRIGGER full BEFORE INSERT ON items BEGIN SELECT RAISE(ABORT, 'no room'); END");
    }

    [[nodiscard]] std::vector<std::string> items(const std::string& which = "true") const {
        return select(
            device.file(),
            "SELECT id || ' ' || kind || ' ' || name || ' ' || hex(sealed) FROM items WHERE " + which);
    }

    const TestDevice device;
};

TEST_F(PluginOnAFailingKeychain, LosesThePairButNotTheCertificateWhenEnsureKeyCannotStoreANewOne) {
    const std::vector<std::string> certificate = items("kind = 1");
    refuseNewItems();
    testing::internal::CaptureStderr();
    EXPECT_EQ(messageOf("ensureKey", {{"nationalCode", "1"}}), "ensure_key_failed");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("no room"));
    EXPECT_EQ(items(), certificate);
}

TEST_F(PluginOnAFailingKeychain, KeepsEverythingWhenEnsureKeyIsCalledWhileTheDeviceIsLocked) {
    const std::vector<std::string> before = items();
    Desktop::setDeviceState({.locked = true});
    EXPECT_EQ(messageOf("ensureKey", {{"nationalCode", "1"}}), "ensure_key_failed");
    EXPECT_EQ(items(), before);
}

TEST_F(PluginOnAFailingKeychain, KeepsEverythingWhenCreateCSRFails) {
    // The person's key cannot be read, and there is no room for the pair that would take its place.
    device.execute("UPDATE items SET sealed = zeroblob(length(sealed)) WHERE kind = 3");
    refuseNewItems();
    const std::vector<std::string> before = items();
    testing::internal::CaptureStderr();
    EXPECT_EQ(messageOf("createCSR", {{"userInfo", identityOf("1")}}), "csr_failed");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::AllOf(testing::HasSubstr("seal is broken"), testing::HasSubstr("no room")));
    EXPECT_EQ(items(), before);
}

}  // namespace
}  // namespace KavrelCrypto
