#include "tests/support/NativeDevice.hpp"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <utility>

#include "platform/Dispatch.hpp"
#include "platform/Security.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tests/support/DeviceUnderTest.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto::DeviceUnderTest {
namespace {

CFDictionary keysUnder(const std::string& tag) {
    return {{kSecClass, kSecClassKey}, {kSecAttrApplicationTag, bytesOf(tag)}};
}

Bytes exported(const SecKeyRef& publicKey) {
    return SecKeyCopyExternalRepresentation(publicKey, nullptr).value();
}

}  // namespace

bool promptsInterrupt() {
    return false;
}

TestCallRef begin(std::string_view method, std::optional<JSObject> options) {
    const DigitalSignPlugin plugin;
    auto call = std::make_shared<TestCall>(std::move(options));
    EXPECT_TRUE(plugin.perform(method, call)) << "the plugin has no method " << method;
    return call;
}

void runMainQueueUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    const auto isOver = [&] { return done() || std::chrono::steady_clock::now() > deadline; };
    // The device waits for tasks without a bound. A task that posts itself again lets it notice the deadline.
    const std::function<void()> lookAgain = [&] {
        if (!isOver()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            dispatchAsyncMain(lookAgain);
        }
    };
    lookAgain();
    NativeDevice::runMainQueueUntil(isOver);
    bool nothingLeft = false;
    dispatchAsyncMain([&] { nothingLeft = true; });
    NativeDevice::runMainQueueUntil([&] { return nothingLeft; });
}

std::string printedBy(const std::function<void()>& work) {
    testing::internal::CaptureStdout();
    work();
    return testing::internal::GetCapturedStdout();
}

std::optional<Bytes> keychainKey(KeyHalf half, const std::string& tag) {
    const bool isPrivate = half == KeyHalf::privateKey;
    CFDictionary query = keysUnder(tag);
    query.push_back({kSecAttrKeyType, kSecAttrKeyTypeRSA});
    query.push_back({kSecAttrKeyClass, isPrivate ? kSecAttrKeyClassPrivate : kSecAttrKeyClassPublic});
    query.push_back({kSecReturnRef, true});
    SecItemResult result;
    if (SecItemCopyMatching(query, &result) != errSecSuccess) {
        return std::nullopt;
    }
    const auto& key = std::get<SecKeyRef>(result);
    return exported(isPrivate ? SecKeyCopyPublicKey(key) : key);
}

Bytes addKeychainPair(const std::string& privateTag, const std::string& publicTag) {
    const auto half = [](const std::string& tag) {
        return CFDictionary{{kSecAttrIsPermanent, true},
                            {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                            {kSecAttrApplicationTag, bytesOf(tag)}};
    };
    const SecKeyRef privateKey = SecKeyCreateRandomKey({{kSecAttrKeyType, kSecAttrKeyTypeRSA},
                                                        {kSecAttrKeySizeInBits, std::int64_t{2048}},
                                                        {kSecPrivateKeyAttrs, half(privateTag)},
                                                        {kSecPublicKeyAttrs, half(publicTag)}},
                                                       nullptr);
    return exported(SecKeyCopyPublicKey(privateKey));
}

bool deleteKeychainKeys(const std::string& tag) {
    return SecItemDelete(keysUnder(tag)) == errSecSuccess;
}

}  // namespace KavrelCrypto::DeviceUnderTest
