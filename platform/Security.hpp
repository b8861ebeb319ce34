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
/// call them. An operation that takes `error` sets `*error` if it fails and the device has a reason, and
/// leaves it alone otherwise; `error` may be null.
namespace KavrelCrypto {

/// The framework's names for attributes and their fixed values.
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
    kSecAttrAccessibleWhenUnlocked,  // the default
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

/// The message algorithms: the platform computes the digest of the bytes that it is given, then signs it. RSA
/// signatures are RSASSA-PKCS1-v1_5 (RFC 8017); ECDSA signatures are the X9.62 DER SEQUENCE of r and s.
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

/// Handles, shared by reference counting. Only the device defines the classes.
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

/// A query, a parameter map or a map of attributes. The platform does not care about the order of the
/// entries; it is kept so that a test can compare whole maps.
struct CFDictionaryEntry;
using CFDictionary = std::vector<CFDictionaryEntry>;

/// A map's value. Strings are UTF-8.
using CFValue = std::variant<bool, std::int64_t, std::string, Bytes, SecConstant, CFDictionary, LAContextRef,
                             SecAccessControlRef>;

struct CFDictionaryEntry {
    SecConstant key;
    CFValue value;

    friend bool operator==(const CFDictionaryEntry&, const CFDictionaryEntry&) = default;
};

/// What a keychain operation returns of an item: nothing, the key (kSecReturnRef) or the value
/// (kSecReturnData).
using SecItemResult = std::variant<std::monostate, SecKeyRef, Bytes>;

/// Adds one item. Returns errSecSuccess, or the status that says why nothing was added (errSecDuplicateItem
/// if there is an item of the same identity). `result` may be null; then only the status is returned.
OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result);

/// Looks up the first item that matches `query`, in the order in which they were stored. Returns
/// errSecSuccess with `*result` set, or another status with `*result` as it was (errSecItemNotFound if
/// nothing matches, errSecInteractionNotAllowed if the item cannot be read while the device is locked).
/// `result` may be null; then only the status is returned, which still says whether there is a match.
OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result);

/// Deletes every item that matches `query`. Returns errSecSuccess, or the status that says why nothing was
/// deleted (errSecItemNotFound if nothing matches).
OSStatus SecItemDelete(const CFDictionary& query);

/// Generates a key pair and returns the private key, or null on failure. Stores each half whose attributes
/// contain kSecAttrIsPermanent in the keychain, under its tag.
SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error);

/// Returns the public half of a private key, or null if it cannot be derived.
SecKeyRef SecKeyCopyPublicKey(const SecKeyRef& key);

/// Returns the key's external representation: the RSAPublicKey (RFC 8017) of an RSA public key in DER, or the
/// uncompressed point 04 || X || Y (X9.62) of an elliptic-curve public key. Absent if the key cannot be
/// exported.
std::optional<Bytes> SecKeyCopyExternalRepresentation(const SecKeyRef& key, std::optional<NSError>* error);

/// Returns the key's block size in bytes, which is 256 for RSA with 2048 bits, or 0 if the key cannot be
/// read.
std::size_t SecKeyGetBlockSize(const SecKeyRef& key);

/// Returns the signature of `dataToSign` by the private key `key`. Absent on failure.
std::optional<Bytes> SecKeyCreateSignature(const SecKeyRef& key, SecKeyAlgorithm algorithm,
                                           BytesView dataToSign, std::optional<NSError>* error);

/// Returns whether `signature` is a signature of `signedData` by the private half of the public key `key`.
bool SecKeyVerifySignature(const SecKeyRef& key, SecKeyAlgorithm algorithm, BytesView signedData,
                           BytesView signature, std::optional<NSError>* error);

using SecAccessControlCreateFlags = std::uint64_t;
inline constexpr SecAccessControlCreateFlags kSecAccessControlPrivateKeyUsage = 1U << 30;

/// Returns an access control for a key with the accessibility `protection`, or null on failure.
SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant protection, SecAccessControlCreateFlags flags,
                                                    std::optional<NSError>* error);

/// Returns the X.509 certificate (RFC 5280) that `data` begins with, or null if it does not begin with one in
/// DER. What follows the certificate is ignored.
SecCertificateRef SecCertificateCreateWithData(BytesView data);

/// Returns the policy for an X.509 chain whose names are not checked.
SecPolicyRef SecPolicyCreateBasicX509();

/// Makes a trust object of a certificate and a policy. Returns errSecSuccess with `*trust` set, or another
/// status.
OSStatus SecTrustCreateWithCertificates(const SecCertificateRef& certificate, const SecPolicyRef& policy,
                                        SecTrustRef* trust);

/// Returns the public key of the trust object's certificate, or null if it has none that the platform can
/// use: an RSAPublicKey in DER, or a point on P-256, P-384 or P-521. The trust object need not have been
/// evaluated.
SecKeyRef SecTrustCopyKey(const SecTrustRef& trust);

}  // namespace KavrelCrypto
