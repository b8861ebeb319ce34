// Whole calls on the device that answers from memory: the component's own share of each.

#include "bench/Calls.hpp"
#include "bench/Comparison.hpp"
#include "bench/MemoryDevice.hpp"
#include "bench/OpenSSL.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr std::size_t growingSizes[] = {1 << 10, 64 << 10, 1 << 20, 16 << 20};

JSObject call(const DigitalSignPlugin& plugin, std::string_view method, const JSObject& options) {
    const auto pending = std::make_shared<Call>(options);
    plugin.perform(method, pending);
    runMainQueue();
    return pending->result();
}

void addCall(const std::string& group, const std::string& title, const std::string& method,
             JSObject options) {
    const auto shared = std::make_shared<const JSObject>(std::move(options));
    const auto work = [method, shared] {
        static const DigitalSignPlugin plugin;
        return call(plugin, method, *shared);
    };
    work();  // throws if the call is rejected
    time(group + "/" + title + "/KavrelCrypto", work);
}

}  // namespace

void addCalls() {
    const std::string person = sara().nationalCode;
    const std::string digest = base64Encode(someBytes(32));
    const std::string certificate =
        "-----BEGIN CERTIFICATE-----\n" + base64Encode(someBytes(1300)) + "\n-----END CERTIFICATE-----\n";
    const auto add = [](const std::string& method, const JSObject& options) {
        addCall("the component's own share", method, method, options);
    };
    add("ensureKey", personOptions(person));
    add("hasKey", personOptions(person));
    add("getKeyInfo", personOptions(person));
    add("createCSR", requestOptions());
    add("storeCertificate", certificateOptions(person, certificate));
    add("getCertificate", personOptions(person));
    add("signDigest", digestOptions(person, digest));
    add("getBiometricStatus", JSObject());
    add("deleteKey", personOptions(person));

    const OpenSSL::Key key = OpenSSL::newRSAKey(2048);
    time("the component's own share/one RSA signature/OpenSSL",
         [key, data = someBytes(32)] { return OpenSSL::sign(key, data); });

    for (const std::size_t size : growingSizes) {
        addCall("signDigest, by the size of what is signed", sizeName(size), "signDigest",
                digestOptions(person, base64Encode(someBytes(size))));
        addCall("storeCertificate, by the size of the certificate", sizeName(size), "storeCertificate",
                certificateOptions(person, base64Encode(someBytes(size))));
    }
}

}  // namespace KavrelCrypto::Bench
