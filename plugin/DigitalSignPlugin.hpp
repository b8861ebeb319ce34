#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Capacitor.hpp"
#include "plugin/UserInfo.hpp"
#include "text/Bytes.hpp"

/// The one list of the plugin's methods, in the order in which the runtime is told about them. The method
/// table, the dispatch by name, the entry points of the Objective-C class and the help of `kavrel` are made
/// from it. METHOD(name) stands for a method that the operation of the same name handles. ADVERTISED(name)
/// stands for one that nobody handles, on purpose: pages count on finding "setStyle" in the table, and a call
/// of it is never settled.
#define KAVREL_CRYPTO_METHODS(ADVERTISED, METHOD) \
    ADVERTISED(setStyle)                          \
    METHOD(hasKey)                                \
    METHOD(getKeyInfo)                            \
    METHOD(deleteKey)                             \
    METHOD(storeCertificate)                      \
    METHOD(getCertificate)                        \
    METHOD(createCSR)                             \
    METHOD(signDigest)                            \
    METHOD(ensureKey)                             \
    METHOD(getBiometricStatus)

namespace KavrelCrypto {

/// The plugin "DigitalSign", the one class of the component that the plugin runtime sees.
///
/// Each entry point takes a pending call, which must not be null, and settles it exactly once. A result has
/// all of its members, in the order given below. A rejection has a message, in two cases a code, and never an
/// error object or data. The string argument "nationalCode" names the person and is, byte for byte, the alias
/// of that person's keys; if it is not a string, the rejection is "nationalCode required". Entry points may
/// be called on any thread. All except signDigest settle the call before they return. What looks odd here is
/// fixed: see "Fixed contract" in docs/design.md.
class DigitalSignPlugin final : public CAPPlugin, public CAPBridgedPlugin {
  public:
    DigitalSignPlugin();
    DigitalSignPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName);

    /// One of the plugin's methods: its name and its entry point, which is null for "setStyle".
    struct Method {
        std::string_view name;
        void (DigitalSignPlugin::*entryPoint)(const CAPPluginCallRef& call) const;
    };

    /// Returns the ten methods in the order of the table.
    [[nodiscard]] static std::span<const Method> methods();

    /// Returns the same methods as the runtime reads them. Each has the return type "promise".
    [[nodiscard]] const std::vector<CAPPluginMethod>& pluginMethods() const override;
    [[nodiscard]] const std::string& identifier() const override;
    [[nodiscard]] const std::string& jsName() const override;

    /// Hands `call` to the entry point of the method named `method`, as the runtime does. Returns false, and
    /// leaves the call alone, if there is no such method or it has no entry point.
    bool perform(std::string_view method, const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "exists": boolean }: whether the person has a private key.
    void hasKey(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "alias", "alg", "createdAt", "hardwareBacked", "publicKeyPem", "certificate":
    /// string or null }. Rejects with "not found" if there is no key, or with "failed to get public key".
    void getKeyInfo(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "deleted": true }. Deletes the person's keys and empties the certificate slot,
    /// which all persons share.
    void deleteKey(const CAPPluginCallRef& call) const;

    /// "nationalCode", "certPem" -> { "stored": true }. Stores the certificate if its public key is the
    /// person's. Rejects with "Provide certPem", "Certificate is not valid (key missing)" or "Certificate is
    /// not valid".
    void storeCertificate(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "certPem": string or null }: what the slot holds, whoever it belongs to.
    void getCertificate(const CAPPluginCallRef& call) const;

    /// "userInfo" (an object with the fourteen strings of UserInfo) -> { "csrPem": the PKCS #10 request (RFC
    /// 2986) in DER as one line of base64, without a PEM header or footer }. Rejects with "userInfo
    /// required", "invalid userInfo" or, if the code is empty, "nationalCode required"; with
    /// "ensure_key_failed" or "csr_failed", and the error's description as the code. Stops the process if the
    /// call has no argument map.
    void createCSR(const CAPPluginCallRef& call) const;

    /// "nationalCode", "digestB64" (standard base64, any length) -> { "signatureB64", "algo": "RSA_SHA256",
    /// "digestB64" as received }. Prompts for biometrics, then signs the decoded bytes with RSASSA-PKCS1-v1_5
    /// over SHA-256. Settles the call later, on the main queue, or at once if biometrics are not available.
    /// Rejects with "invalid digestB64", or with "sign_failed" for every later failure.
    void signDigest(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "ok": true }. Always replaces the person's keys with new ones. Rejects with
    /// "ensure_key_failed" and the error's description as the code.
    void ensureKey(const CAPPluginCallRef& call) const;

    /// -> { "enabled": boolean, "status": string, "type": the number of the LABiometryType }. Never rejects.
    void getBiometricStatus(const CAPPluginCallRef& call) const;

  private:
    /// Returns the external representation of the person's public key. Absent if there is no private key or
    /// the public key cannot be derived. Stops the process if it cannot be exported.
    static std::optional<Bytes> getPublicKeyData(const std::string& alias);

    /// Returns the identity record in `from`. Absent unless all fourteen members are strings.
    static std::optional<UserInfo> userInfo(const JSObject& from);

    const std::vector<CAPPluginMethod> pluginMethods_;
    const std::string identifier_;
    const std::string jsName_;
};

}  // namespace KavrelCrypto
