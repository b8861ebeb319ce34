// The framework's names of attributes, of their fixed values and of algorithms. They are variables, so a
// table of them would have to be filled while the app starts. These functions look each one up when it is
// needed.

#include <Security/Security.h>

#include "devices/apple/CoreFoundation.hpp"

namespace KavrelCrypto {

// One of the names below is deprecated and still does what it always did.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

CFStringRef constantOf(SecConstant name) {
    switch (name) {
        case kSecClass:
            return ::kSecClass;
        case kSecClassKey:
            return ::kSecClassKey;
        case kSecClassGenericPassword:
            return ::kSecClassGenericPassword;
        case kSecAttrApplicationTag:
            return ::kSecAttrApplicationTag;
        case kSecAttrKeyType:
            return ::kSecAttrKeyType;
        case kSecAttrKeyTypeRSA:
            return ::kSecAttrKeyTypeRSA;
        case kSecAttrKeyTypeECSECPrimeRandom:
            return ::kSecAttrKeyTypeECSECPrimeRandom;
        case kSecAttrKeySizeInBits:
            return ::kSecAttrKeySizeInBits;
        case kSecAttrKeyClass:
            return ::kSecAttrKeyClass;
        case kSecAttrKeyClassPrivate:
            return ::kSecAttrKeyClassPrivate;
        case kSecAttrKeyClassPublic:
            return ::kSecAttrKeyClassPublic;
        case kSecAttrIsPermanent:
            return ::kSecAttrIsPermanent;
        case kSecAttrTokenID:
            return ::kSecAttrTokenID;
        case kSecAttrTokenIDSecureEnclave:
            return ::kSecAttrTokenIDSecureEnclave;
        case kSecAttrAccount:
            return ::kSecAttrAccount;
        case kSecAttrAccessControl:
            return ::kSecAttrAccessControl;
        case kSecAttrAccessible:
            return ::kSecAttrAccessible;
        case kSecAttrAccessibleWhenUnlocked:
            return ::kSecAttrAccessibleWhenUnlocked;
        case kSecAttrAccessibleWhenUnlockedThisDeviceOnly:
            return ::kSecAttrAccessibleWhenUnlockedThisDeviceOnly;
        case kSecAttrAccessibleAfterFirstUnlock:
            return ::kSecAttrAccessibleAfterFirstUnlock;
        case kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly:
            return ::kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly;
        case kSecPrivateKeyAttrs:
            return ::kSecPrivateKeyAttrs;
        case kSecPublicKeyAttrs:
            return ::kSecPublicKeyAttrs;
        case kSecValueData:
            return ::kSecValueData;
        case kSecReturnRef:
            return ::kSecReturnRef;
        case kSecReturnData:
            return ::kSecReturnData;
        case kSecMatchLimit:
            return ::kSecMatchLimit;
        case kSecMatchLimitOne:
            return ::kSecMatchLimitOne;
        case kSecUseAuthenticationContext:
            return ::kSecUseAuthenticationContext;
        case kSecUseAuthenticationUI:
            return ::kSecUseAuthenticationUI;
        case kSecUseAuthenticationUIAllow:
            return ::kSecUseAuthenticationUIAllow;
    }
    fatalError("an attribute must have one of the names of SecConstant");
}

#pragma GCC diagnostic pop

CFStringRef constantOf(SecKeyAlgorithm name) {
    switch (name) {
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1:
            return ::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256:
            return ::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256;
        case kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512:
            return ::kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512;
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA1:
            return ::kSecKeyAlgorithmECDSASignatureMessageX962SHA1;
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA256:
            return ::kSecKeyAlgorithmECDSASignatureMessageX962SHA256;
        case kSecKeyAlgorithmECDSASignatureMessageX962SHA512:
            return ::kSecKeyAlgorithmECDSASignatureMessageX962SHA512;
    }
    fatalError("an algorithm must have one of the names of SecKeyAlgorithm");
}

}  // namespace KavrelCrypto
