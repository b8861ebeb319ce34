#pragma once

#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

#include "platform/Dispatch.hpp"
#include "platform/LocalAuthentication.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

// The handles are tokens: a test makes them and recognises them.
class SecKey {};
class SecCertificate {};
class SecPolicy {};
class SecTrust {};
class SecAccessControl {};
class LAContext {};

/// The device of which a test says what each operation answers, in which order it is asked, and with what. It
/// is strict: an operation that the test did not announce fails it, console lines included. While an instance
/// lives, it is the device.
class Script {
  public:
    Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;
    ~Script();

    MOCK_METHOD(void, print, (const std::string& line));

    MOCK_METHOD(OSStatus, SecItemAdd, (const CFDictionary& attributes, SecItemResult* result));
    MOCK_METHOD(OSStatus, SecItemCopyMatching, (const CFDictionary& query, SecItemResult* result));
    MOCK_METHOD(OSStatus, SecItemDelete, (const CFDictionary& query));
    MOCK_METHOD(SecKeyRef, SecKeyCreateRandomKey,
                (const CFDictionary& parameters, std::optional<NSError>* error));
    MOCK_METHOD(SecKeyRef, SecKeyCopyPublicKey, (const SecKeyRef& key));
    MOCK_METHOD(std::optional<Bytes>, SecKeyCopyExternalRepresentation,
                (const SecKeyRef& key, std::optional<NSError>* error));
    MOCK_METHOD(std::size_t, SecKeyGetBlockSize, (const SecKeyRef& key));
    MOCK_METHOD(std::optional<Bytes>, SecKeyCreateSignature,
                (const SecKeyRef& key, SecKeyAlgorithm algorithm, Bytes dataToSign,
                 std::optional<NSError>* error));
    MOCK_METHOD(bool, SecKeyVerifySignature,
                (const SecKeyRef& key, SecKeyAlgorithm algorithm, Bytes signedData, Bytes signature,
                 std::optional<NSError>* error));
    MOCK_METHOD(SecAccessControlRef, SecAccessControlCreateWithFlags,
                (SecConstant protection, SecAccessControlCreateFlags flags, std::optional<NSError>* error));
    MOCK_METHOD(SecCertificateRef, SecCertificateCreateWithData, (Bytes data));
    MOCK_METHOD(SecPolicyRef, SecPolicyCreateBasicX509, ());
    MOCK_METHOD(OSStatus, SecTrustCreateWithCertificates,
                (const SecCertificateRef& certificate, const SecPolicyRef& policy, SecTrustRef* trust));
    MOCK_METHOD(SecKeyRef, SecTrustCopyKey, (const SecTrustRef& trust));

    MOCK_METHOD(LAContextRef, makeLAContext, ());
    MOCK_METHOD(bool, canEvaluatePolicy,
                (LAContext & context, LAPolicy policy, std::optional<NSError>* error));
    MOCK_METHOD(void, evaluatePolicy,
                (const LAContextRef& context, LAPolicy policy, const std::string& localizedReason,
                 LAReply reply));
    MOCK_METHOD(LABiometryType, biometryType, (const LAContext& context));

    /// Runs what was posted to the main queue so far.
    void runMainQueue();

    std::vector<std::function<void()>> mainQueue;
};

using ScriptedDevice = testing::StrictMock<Script>;

/// An action for SecItemCopyMatching: success, with `item` as the result.
inline auto givesBack(SecItemResult item) {
    return testing::DoAll(testing::SetArgPointee<1>(std::move(item)), testing::Return(errSecSuccess));
}

/// An action for operations whose argument N is the place for an error: sets it and gives `failure` back.
template <std::size_t N, typename Failure>
auto failsWith(NSError error, Failure failure) {
    return testing::DoAll(testing::SetArgPointee<N>(std::optional(std::move(error))),
                          testing::Return(std::move(failure)));
}

inline SecKeyRef newKey() {
    return std::make_shared<const SecKey>();
}

}  // namespace KavrelCrypto
