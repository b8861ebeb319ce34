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

// The names of the constants, to declare, to define and to compare.
#define STAND_IN_CONSTANTS(X)                           \
    X(kSecClass)                                        \
    X(kSecClassKey)                                     \
    X(kSecClassGenericPassword)                         \
    X(kSecAttrApplicationTag)                           \
    X(kSecAttrKeyType)                                  \
    X(kSecAttrKeyTypeRSA)                               \
    X(kSecAttrKeyTypeECSECPrimeRandom)                  \
    X(kSecAttrKeySizeInBits)                            \
    X(kSecAttrKeyClass)                                 \
    X(kSecAttrKeyClassPrivate)                          \
    X(kSecAttrKeyClassPublic)                           \
    X(kSecAttrIsPermanent)                              \
    X(kSecAttrTokenID)                                  \
    X(kSecAttrTokenIDSecureEnclave)                     \
    X(kSecAttrAccount)                                  \
    X(kSecAttrAccessControl)                            \
    X(kSecAttrAccessible)                               \
    X(kSecAttrAccessibleWhenUnlocked)                   \
    X(kSecAttrAccessibleWhenUnlockedThisDeviceOnly)     \
    X(kSecAttrAccessibleAfterFirstUnlock)               \
    X(kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly) \
    X(kSecPrivateKeyAttrs)                              \
    X(kSecPublicKeyAttrs)                               \
    X(kSecValueData)                                    \
    X(kSecReturnRef)                                    \
    X(kSecReturnData)                                   \
    X(kSecMatchLimit)                                   \
    X(kSecMatchLimitOne)                                \
    X(kSecUseAuthenticationContext)                     \
    X(kSecUseAuthenticationUI)                          \
    X(kSecUseAuthenticationUIAllow)
#define STAND_IN_ALGORITHMS(X)                           \
    X(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1)   \
    X(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256) \
    X(kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512) \
    X(kSecKeyAlgorithmECDSASignatureMessageX962SHA1)     \
    X(kSecKeyAlgorithmECDSASignatureMessageX962SHA256)   \
    X(kSecKeyAlgorithmECDSASignatureMessageX962SHA512)

#define STAND_IN_DECLARE(name) extern const CFStringRef name;
STAND_IN_CONSTANTS(STAND_IN_DECLARE)
STAND_IN_ALGORITHMS(STAND_IN_DECLARE)
extern const CFStringRef kSecUseAuthenticationUIAllow __attribute__((deprecated));

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef* result);
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result);
OSStatus SecItemDelete(CFDictionaryRef query);

typedef struct __SecKey* SecKeyRef;
typedef CFStringRef SecKeyAlgorithm;

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
