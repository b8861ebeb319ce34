#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Foundation.hpp"
#include "platform/LocalAuthentication.hpp"
#include "text/Bytes.hpp"

/// What the component uses of the Security framework: one function for each of the framework's, with its name
/// and its arguments. The device defines every operation. All of them are synchronous, and any thread may
/// call them. Where an operation takes `error`, a null pointer means that the caller does not want the
/// reason; on success `*error` is left as it was, and on failure it is set where the device gives a reason.
namespace KavrelCrypto {

/// The framework's names for attributes and for their fixed values.
enum SecConstant : std::uint8_t {
    kSecClass,
    kSecClassKey,
    kSecClassGenericPassword,

    kSecAttrApplicationTag,
    kSecAttrKeyType,
    kSecAttrKeyTypeRSA,
    kSecAttrKeyTypeECSECPrimeRandom,
    kSecAttrKeySizeInBits,
    kSecAttrKeyClass,
    kSecAttrKeyClassPrivate,
    kSecAttrKeyClassPublic,
    kSecAttrIsPermanent,
    kSecAttrTokenID,
    kSecAttrTokenIDSecureEnclave,
    kSecAttrAccount,
    kSecAttrAccessControl,

    kSecAttrAccessible,
    kSecAttrAccessibleWhenUnlocked,  // what an item gets that names no accessibility
    kSecAttrAccessibleWhenUnlockedThisDeviceOnly,
    kSecAttrAccessibleAfterFirstUnlock,
    kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly,

    kSecPrivateKeyAttrs,
    kSecPublicKeyAttrs,
    kSecValueData,
    kSecReturnRef,
    kSecReturnData,
    kSecMatchLimit,
    kSecMatchLimitOne,

    kSecUseAuthenticationContext,
    kSecUseAuthenticationUI,
    kSecUseAuthenticationUIAllow,
};

/// The message algorithms: the platform computes the digest over the bytes it is given, then signs it. RSA is
/// RSASSA-PKCS1-v1_5 (RFC 8017); ECDSA signatures are the X9.62 DER SEQUENCE of r and s.
enum SecKeyAlgorithm : std::uint8_t {
    kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
    kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
    kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512,
    kSecKeyAlgorithmECDSASignatureMessageX962SHA1,
    kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
    kSecKeyAlgorithmECDSASignatureMessageX962SHA512,
};

using OSStatus = std::int32_t;
inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;

/// Handles, shared by reference counting. Only the device completes the types.
class SecKey;
class SecCertificate;
class SecPolicy;
class SecTrust;
class SecAccessControl;
using SecKeyRef = std::shared_ptr<const SecKey>;
using SecCertificateRef = std::shared_ptr<const SecCertificate>;
using SecPolicyRef = std::shared_ptr<const SecPolicy>;
using SecTrustRef = std::shared_ptr<const SecTrust>;
using SecAccessControlRef = std::shared_ptr<const SecAccessControl>;

/// A query, a parameter map or a map of attributes. The platform does not care for the order of the entries;
/// it is kept so that a whole map can be compared with what was meant.
struct CFDictionaryEntry;
using CFDictionary = std::vector<CFDictionaryEntry>;

/// A map's value. Texts are UTF-8.
using CFValue = std::variant<bool, std::int64_t, std::string, Bytes, SecConstant, CFDictionary, LAContextRef,
                             SecAccessControlRef>;

struct CFDictionaryEntry {
    SecConstant key;
    CFValue value;

    friend bool operator==(const CFDictionaryEntry&, const CFDictionaryEntry&) = default;
};

/// What a keychain operation gives back: nothing, a key (kSecReturnRef) or the item's value (kSecReturnData).
using SecItemResult = std::variant<std::monostate, SecKeyRef, Bytes>;

/// Adds one item. Returns errSecSuccess, or the status that says why nothing was added (errSecDuplicateItem
/// if there is an item of the same identity). `result` may be null; then nothing is given back.
OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result);

/// Looks up the first item that matches `query`, in the order in which they were stored. Returns
/// errSecSuccess with `*result` set, or another status with `*result` as it was (errSecItemNotFound if
/// nothing matches, errSecInteractionNotAllowed if the item cannot be read while the device is locked).
/// `result` may be null; then nothing is given back, and the status still says whether there is a match.
OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result);

/// Deletes every item that matches `query`. errSecSuccess, or the status that says why nothing was deleted
/// (errSecItemNotFound when nothing matches).
OSStatus SecItemDelete(const CFDictionary& query);

/// Generates a key pair and gives the private key back, or null. Halves whose attributes say
/// kSecAttrIsPermanent are stored in the keychain under their tags.
SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error);

/// The public half of a private key, or null where it cannot be derived.
SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key);

/// The key's external representation: the PKCS #1 RSAPublicKey DER of an RSA public key (RFC 8017), the
/// uncompressed point 04 || X || Y of a P-256 one (X9.62). Absent when the key cannot be exported.
std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error);

/// The key's block size in bytes: 256 for RSA of 2048 bits. 0 when the key cannot be read.
std::size_t SecKeyGetBlockSize(const SecKeyRef& key);

/// Signs `dataToSign` with a private key. Absent on failure.
std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error);

/// Whether `signature` is `key`'s signature of `signedData`, with the public key given.
bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error);

using SecAccessControlCreateFlags = std::uint64_t;
inline constexpr SecAccessControlCreateFlags kSecAccessControlPrivateKeyUsage = 1U << 30;

/// An access control for a key item of the accessibility `protection`, or null.
SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant protection, SecAccessControlCreateFlags flags,
                                                    std::optional<NSError>* error);

/// Returns the X.509 certificate (RFC 5280) that `data` begins with, or null unless that is one in DER. Bytes
/// behind it are not looked at.
SecCertificateRef SecCertificateCreateWithData(BytesView data);

/// The policy that checks an X.509 chain and no name.
SecPolicyRef SecPolicyCreateBasicX509();

/// A trust object for one certificate and one policy. errSecSuccess with `*trust` set, or another status.
OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust);

/// Returns the public key of the trust object's certificate, or null if it has none that the platform can
/// use: an RSAPublicKey in DER, or a point on P-256, P-384 or P-521. The trust object need not have been
/// evaluated.
SecKeyRef SecTrustCopyKey(const SecTrustRef& trust);

}  // namespace KavrelCrypto
