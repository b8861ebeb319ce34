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
/// stands for one that nobody handles: web layers count on finding "setStyle" in the table, and a call of it
/// is never finished.
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

/// The plugin "DigitalSign": the one class of the component that the plugin runtime sees.
///
/// Each entry point takes one pending call, never null, and finishes it exactly once: with a result whose
/// members are always all there, in the order given below, or with a rejection (message, then code where
/// there is one). No rejection carries an error object or data. The person is named by the text argument
/// "nationalCode", used byte for byte as the alias of that person's keys; where it is no text, the rejection
/// is "nationalCode required". Entry points may be called on any thread. All finish the call before they
/// return, except signDigest.
class DigitalSignPlugin final : public CAPPlugin, public CAPBridgedPlugin {
  public:
    DigitalSignPlugin();
    DigitalSignPlugin(CAPBridgeProtocol* bridge, std::string pluginId, std::string pluginName);

    /// One of the plugin's methods: its name and its entry point, which is null for "setStyle".
    struct Method {
        std::string_view name;
        void (DigitalSignPlugin::*entryPoint)(const CAPPluginCallRef& call) const;
    };

    /// The ten methods in the order of the table.
    [[nodiscard]] static std::span<const Method> methods();

    /// The same ten as the runtime reads them: each returns a "promise".
    [[nodiscard]] const std::vector<CAPPluginMethod>& pluginMethods() const override;
    [[nodiscard]] const std::string& identifier() const override;
    [[nodiscard]] const std::string& jsName() const override;

    /// Hands `call` to the entry point of the method named `method`, as the runtime does. Returns false, and
    /// leaves the call alone, if there is no such method or it has no entry point.
    bool perform(std::string_view method, const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "exists": boolean }: whether the person's private key is there.
    void hasKey(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "alias", "alg", "createdAt", "hardwareBacked", "publicKeyPem", "certificate": text
    /// or null }. Rejects "not found" without a key, "failed to get public key" without its public half.
    void getKeyInfo(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "deleted": true }. Deletes the person's keys and empties the certificate slot,
    /// which all persons share.
    void deleteKey(const CAPPluginCallRef& call) const;

    /// "nationalCode", "certPem" -> { "stored": true }. Keeps the certificate when its public key is the
    /// person's. Rejects "Provide certPem", "Certificate is not valid (key missing)", "Certificate is not
    /// valid".
    void storeCertificate(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "certPem": text or null }: what the slot holds, whoever it belongs to.
    void getCertificate(const CAPPluginCallRef& call) const;

    /// "userInfo" (an object with the fourteen texts of UserInfo) -> { "csrPem": PKCS #10 request (RFC 2986)
    /// in DER as one line of base64, without PEM header or footer }. Rejects "userInfo required", "invalid
    /// userInfo", "nationalCode required" (an empty one), "ensure_key_failed" and "csr_failed" with the
    /// error's description as the code. A call without an argument map stops the process.
    void createCSR(const CAPPluginCallRef& call) const;

    /// "nationalCode", "digestB64" (standard base64, any length) -> { "signatureB64", "algo": "RSA_SHA256",
    /// "digestB64" as received }. Prompts for biometrics, then signs with RSASSA-PKCS1-v1_5 over SHA-256 of
    /// the decoded bytes. Finishes the call later, on the main queue, or at once when biometrics are
    /// unavailable. Rejects "invalid digestB64", and "sign_failed" for every failure after that.
    void signDigest(const CAPPluginCallRef& call) const;

    /// "nationalCode" -> { "ok": true }. Always replaces the person's keys by new ones. Rejects
    /// "ensure_key_failed" with the error's description as the code.
    void ensureKey(const CAPPluginCallRef& call) const;

    /// -> { "enabled": boolean, "status": text, "type": number of the LABiometryType }. Never rejects.
    void getBiometricStatus(const CAPPluginCallRef& call) const;

  private:
    static std::optional<Bytes> getPublicKeyData(const std::string& alias);
    static std::optional<UserInfo> userInfo(const JSObject& from);

    const std::vector<CAPPluginMethod> pluginMethods_;
    const std::string identifier_;
    const std::string jsName_;
};

}  // namespace KavrelCrypto
