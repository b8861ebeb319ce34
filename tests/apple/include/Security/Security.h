#pragma once

// A stand-in for the Security framework: the declarations that the Apple device uses, as Apple documents
// them.

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t OSStatus;

enum {
    errSecSuccess = 0,
    errSecParam = -50,
    errSecDuplicateItem = -25299,
    errSecItemNotFound = -25300,
    errSecInteractionNotAllowed = -25308,
    errSecMissingEntitlement = -34018,
};

extern const CFStringRef kSecClass;
extern const CFStringRef kSecClassKey;
extern const CFStringRef kSecClassGenericPassword;
extern const CFStringRef kSecAttrApplicationTag;
extern const CFStringRef kSecAttrKeyType;
extern const CFStringRef kSecAttrKeyTypeRSA;
extern const CFStringRef kSecAttrKeyTypeECSECPrimeRandom;
extern const CFStringRef kSecAttrKeySizeInBits;
extern const CFStringRef kSecAttrKeyClass;
extern const CFStringRef kSecAttrKeyClassPrivate;
extern const CFStringRef kSecAttrKeyClassPublic;
extern const CFStringRef kSecAttrIsPermanent;
extern const CFStringRef kSecAttrTokenID;
extern const CFStringRef kSecAttrTokenIDSecureEnclave;
extern const CFStringRef kSecAttrAccount;
extern const CFStringRef kSecAttrAccessControl;
extern const CFStringRef kSecAttrAccessible;
extern const CFStringRef kSecAttrAccessibleWhenUnlocked;
extern const CFStringRef kSecAttrAccessibleWhenUnlockedThisDeviceOnly;
extern const CFStringRef kSecAttrAccessibleAfterFirstUnlock;
extern const CFStringRef kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly;
extern const CFStringRef kSecPrivateKeyAttrs;
extern const CFStringRef kSecPublicKeyAttrs;
extern const CFStringRef kSecValueData;
extern const CFStringRef kSecReturnRef;
extern const CFStringRef kSecReturnData;
extern const CFStringRef kSecMatchLimit;
extern const CFStringRef kSecMatchLimitOne;
extern const CFStringRef kSecUseAuthenticationContext;
extern const CFStringRef kSecUseAuthenticationUI;
extern const CFStringRef kSecUseAuthenticationUIAllow __attribute__((deprecated));

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef* result);
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result);
OSStatus SecItemDelete(CFDictionaryRef query);

typedef struct __SecKey* SecKeyRef;
typedef CFStringRef SecKeyAlgorithm;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512;
extern const SecKeyAlgorithm kSecKeyAlgorithmECDSASignatureMessageX962SHA1;
extern const SecKeyAlgorithm kSecKeyAlgorithmECDSASignatureMessageX962SHA256;
extern const SecKeyAlgorithm kSecKeyAlgorithmECDSASignatureMessageX962SHA512;

CFTypeID SecKeyGetTypeID(void);
SecKeyRef SecKeyCreateRandomKey(CFDictionaryRef parameters, CFErrorRef* error);
SecKeyRef SecKeyCopyPublicKey(SecKeyRef key);
CFDataRef SecKeyCopyExternalRepresentation(SecKeyRef key, CFErrorRef* error);
size_t SecKeyGetBlockSize(SecKeyRef key);
CFDataRef SecKeyCreateSignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef dataToSign,
                                CFErrorRef* error);
Boolean SecKeyVerifySignature(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef signedData,
                              CFDataRef signature, CFErrorRef* error);

typedef struct __SecAccessControl* SecAccessControlRef;
typedef CFOptionFlags SecAccessControlCreateFlags;
enum { kSecAccessControlPrivateKeyUsage = 1 << 30 };
SecAccessControlRef SecAccessControlCreateWithFlags(CFAllocatorRef allocator, CFTypeRef protection,
                                                    SecAccessControlCreateFlags flags, CFErrorRef* error);

typedef struct __SecCertificate* SecCertificateRef;
typedef struct __SecPolicy* SecPolicyRef;
typedef struct __SecTrust* SecTrustRef;
SecCertificateRef SecCertificateCreateWithData(CFAllocatorRef allocator, CFDataRef data);
SecPolicyRef SecPolicyCreateBasicX509(void);
OSStatus SecTrustCreateWithCertificates(CFTypeRef certificates, CFTypeRef policies, SecTrustRef* trust);
SecKeyRef SecTrustCopyKey(SecTrustRef trust);

#ifdef __cplusplus
}
#endif
