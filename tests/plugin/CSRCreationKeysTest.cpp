// "createCSR": which key signs the request.

#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/DeviceUnderTest.hpp"

namespace KavrelCrypto {
namespace {

const std::string sara = "0012345678";

/// Adds the pair that an earlier fallback of the request builder left, and returns its public key.
Bytes addFallbackPair() {
    return DeviceUnderTest::addKeychainPair(fallbackPrivateTag(sara), fallbackPublicTag(sara));
}

Bytes keyOfRequest() {
    const Outcome created = call("createCSR", request(identity(sara)));
    const OpenSSL::Request made = OpenSSL::parsedRequest(OpenSSL::fromBase64(text(created, "csrPem")));
    if (made == nullptr) {
        return {};
    }
    const OpenSSL::Key key(X509_REQ_get_pubkey(made.get()), EVP_PKEY_free);
    EXPECT_EQ(X509_REQ_verify(made.get(), key.get()), 1);
    return OpenSSL::rsaPublicKey(key);
}

Bytes keyOfPerson() {
    return OpenSSL::rsaPublicKey(OpenSSL::publicKey(text(call("getKeyInfo", person(sara)), "publicKeyPem")));
}

using PluginCreateCSRKeys = OnANewDevice;

TEST_F(PluginCreateCSRKeys, WithoutAnyKeyAPersonGetsOneAndItSigns) {
    const Bytes signing = keyOfRequest();
    EXPECT_EQ(signing, keyOfPerson());
}

TEST_F(PluginCreateCSRKeys, AWholeFallbackPairSignsInThePlaceOfThePersonsKey) {
    const Bytes fallback = addFallbackPair();
    EXPECT_EQ(keyOfRequest(), fallback);
    // The person gets a key even so.
    EXPECT_NE(keyOfPerson(), fallback);
}

TEST_F(PluginCreateCSRKeys, HalfAFallbackPairIsPassedOver) {
    const Bytes fallback = addFallbackPair();
    ASSERT_TRUE(DeviceUnderTest::deleteKeychainKeys(fallbackPublicTag(sara)));
    const Bytes signing = keyOfRequest();
    EXPECT_NE(signing, fallback);
    EXPECT_EQ(signing, keyOfPerson());
}

TEST_F(PluginCreateCSRKeys, DeletingThePersonsKeyLeavesTheFallbackPair) {
    const Bytes fallback = addFallbackPair();
    EXPECT_EQ(call("deleteKey", person(sara)), resolved({{"deleted", true}}));
    EXPECT_EQ(call("hasKey", person(sara)), resolved({{"exists", false}}));
    EXPECT_EQ(keyOfRequest(), fallback);
}

TEST_F(PluginCreateCSRKeys, AFallbackPairOfHalvesThatDoNotBelongTogetherMakesNoRequest) {
    DeviceUnderTest::addKeychainPair(fallbackPrivateTag(sara), "another pair's public half");
    DeviceUnderTest::addKeychainPair("another pair's private half", fallbackPublicTag(sara));
    EXPECT_EQ(call("createCSR", request(identity(sara))),
              rejected("csr_failed",
                       "The operation couldn’t be completed. (KavrelCrypto.CSRCreationError error 2.)"));
    // The failure leaves all keys in place, also the one that the person was given.
    EXPECT_EQ(call("hasKey", person(sara)), resolved({{"exists", true}}));
    EXPECT_TRUE(DeviceUnderTest::deleteKeychainKeys(fallbackPrivateTag(sara)));
    EXPECT_TRUE(DeviceUnderTest::deleteKeychainKeys(fallbackPublicTag(sara)));
}

}  // namespace
}  // namespace KavrelCrypto
