#include <Security/Security.h>

#include "apple/standins/Object.hpp"

// Each constant is a text of its own, which prints as the constant's name.
#define CONSTANT(name) \
    const CFStringRef name = AppleStandIns::referenceTo<CFStringRef>(new AppleStandIns::ConstantObject(#name))

CONSTANT(kSecClass);
CONSTANT(kSecClassKey);
CONSTANT(kSecClassGenericPassword);
CONSTANT(kSecAttrApplicationTag);
CONSTANT(kSecAttrKeyType);
CONSTANT(kSecAttrKeyTypeRSA);
CONSTANT(kSecAttrKeyTypeECSECPrimeRandom);
CONSTANT(kSecAttrKeySizeInBits);
CONSTANT(kSecAttrKeyClass);
CONSTANT(kSecAttrKeyClassPrivate);
CONSTANT(kSecAttrKeyClassPublic);
CONSTANT(kSecAttrIsPermanent);
CONSTANT(kSecAttrTokenID);
CONSTANT(kSecAttrTokenIDSecureEnclave);
CONSTANT(kSecAttrAccount);
CONSTANT(kSecAttrAccessControl);
CONSTANT(kSecAttrAccessible);
CONSTANT(kSecAttrAccessibleWhenUnlocked);
CONSTANT(kSecAttrAccessibleWhenUnlockedThisDeviceOnly);
CONSTANT(kSecAttrAccessibleAfterFirstUnlock);
CONSTANT(kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
CONSTANT(kSecPrivateKeyAttrs);
CONSTANT(kSecPublicKeyAttrs);
CONSTANT(kSecValueData);
CONSTANT(kSecReturnRef);
CONSTANT(kSecReturnData);
CONSTANT(kSecMatchLimit);
CONSTANT(kSecMatchLimitOne);
CONSTANT(kSecUseAuthenticationContext);
CONSTANT(kSecUseAuthenticationUI);
CONSTANT(kSecUseAuthenticationUIAllow);
CONSTANT(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1);
CONSTANT(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256);
CONSTANT(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512);
CONSTANT(kSecKeyAlgorithmECDSASignatureMessageX962SHA1);
CONSTANT(kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
CONSTANT(kSecKeyAlgorithmECDSASignatureMessageX962SHA512);
