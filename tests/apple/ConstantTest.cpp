// Every name that the component uses is the framework's constant of that name.

#include <Security/Security.h>
#include <gtest/gtest.h>

#include "devices/apple/CoreFoundation.hpp"

namespace KavrelCrypto {
namespace {

#define EXPECT_SAME(name) EXPECT_EQ(constantOf(name), ::name)

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

TEST(AppleConstants, OfAttributesAreTheFrameworks) {
    EXPECT_SAME(kSecClass);
    EXPECT_SAME(kSecClassKey);
    EXPECT_SAME(kSecClassGenericPassword);
    EXPECT_SAME(kSecAttrApplicationTag);
    EXPECT_SAME(kSecAttrKeyType);
    EXPECT_SAME(kSecAttrKeyTypeRSA);
    EXPECT_SAME(kSecAttrKeyTypeECSECPrimeRandom);
    EXPECT_SAME(kSecAttrKeySizeInBits);
    EXPECT_SAME(kSecAttrKeyClass);
    EXPECT_SAME(kSecAttrKeyClassPrivate);
    EXPECT_SAME(kSecAttrKeyClassPublic);
    EXPECT_SAME(kSecAttrIsPermanent);
    EXPECT_SAME(kSecAttrTokenID);
    EXPECT_SAME(kSecAttrTokenIDSecureEnclave);
    EXPECT_SAME(kSecAttrAccount);
    EXPECT_SAME(kSecAttrAccessControl);
    EXPECT_SAME(kSecAttrAccessible);
    EXPECT_SAME(kSecAttrAccessibleWhenUnlocked);
    EXPECT_SAME(kSecAttrAccessibleWhenUnlockedThisDeviceOnly);
    EXPECT_SAME(kSecAttrAccessibleAfterFirstUnlock);
    EXPECT_SAME(kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
    EXPECT_SAME(kSecPrivateKeyAttrs);
    EXPECT_SAME(kSecPublicKeyAttrs);
    EXPECT_SAME(kSecValueData);
    EXPECT_SAME(kSecReturnRef);
    EXPECT_SAME(kSecReturnData);
    EXPECT_SAME(kSecMatchLimit);
    EXPECT_SAME(kSecMatchLimitOne);
    EXPECT_SAME(kSecUseAuthenticationContext);
    EXPECT_SAME(kSecUseAuthenticationUI);
    EXPECT_SAME(kSecUseAuthenticationUIAllow);
}

#pragma GCC diagnostic pop

TEST(AppleConstants, OfAlgorithmsAreTheFrameworks) {
    EXPECT_SAME(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1);
    EXPECT_SAME(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256);
    EXPECT_SAME(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512);
    EXPECT_SAME(kSecKeyAlgorithmECDSASignatureMessageX962SHA1);
    EXPECT_SAME(kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
    EXPECT_SAME(kSecKeyAlgorithmECDSASignatureMessageX962SHA512);
}

}  // namespace
}  // namespace KavrelCrypto
