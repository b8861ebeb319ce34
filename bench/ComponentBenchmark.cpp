// What needs no real device, each beside its peers; and whole calls on the device that answers from memory,
// which are the component's own share of each.

#include "bench/Calls.hpp"
#include "bench/Comparison.hpp"
#include "bench/OpenSSL.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

void addCall(const std::string& method, JSObject options) {
    const auto pending = std::make_shared<TestCall>(std::move(options));
    const auto work = [method, pending] { return resultOf(method, pending); };
    work();  // throws if the call is rejected
    time("the component's own share/" + method + "/KavrelCrypto", work);
}

void addCalls() {
    const std::string person = sara().nationalCode;
    const std::string certificate =
        "-----BEGIN CERTIFICATE-----\n" + base64Encode(someBytes(1300)) + "\n-----END CERTIFICATE-----\n";
    addCall("ensureKey", personOptions(person));
    addCall("hasKey", personOptions(person));
    addCall("getKeyInfo", personOptions(person));
    addCall("createCSR", requestOptions());
    addCall("storeCertificate", {{"nationalCode", person}, {"certPem", certificate}});
    addCall("getCertificate", personOptions(person));
    addCall("signDigest", digestOptions(person, base64Encode(someBytes(32))));
    addCall("getBiometricStatus", JSObject());
    addCall("deleteKey", personOptions(person));

    const OpenSSL::Key key = OpenSSL::newRSAKey(2048);
    time("the component's own share/one RSA signature/OpenSSL",
         [key, data = someBytes(32)] { return OpenSSL::sign(key, data); });
}

}  // namespace

void addBenchmarks() {
    addRequestInfo();
    addBase64();
    addCertificateText();
    addCalls();
}

}  // namespace KavrelCrypto::Bench
