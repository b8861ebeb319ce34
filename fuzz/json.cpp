// JSON into every plugin method, the way "kavrel call" goes: compared with what another reading of the same
// JSON says that the call must come to. The first byte of an input chooses the method.

#include "tools/kavrel/JSON.hpp"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Sensor.hpp"
#include "fuzz/check.hpp"
#include "fuzz/keys.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"
#include "tools/kavrel/PluginCall.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;
using nlohmann::json;

const std::string sara = "0012345678";

/// A device on which Sara has a key and her certificate is in the slot. Every input finds it like this.
class World {
  public:
    World() {
        Desktop::openDevice(folder_.path());
        Desktop::answerPromptsWith([](const std::string&) { return Desktop::PromptAnswer::match; });
        OpenSSL::authorityKey();  // takes a key that would be missing among Sara's
        restore();
    }

    const std::string& certificate() const {
        return certificate_;
    }

    std::optional<Host::Outcome> call(std::string_view method, JSObject options) {
        return Host::performCall(plugin_, method, std::move(options));
    }

    void restore() {
        Desktop::resetDevice();
        Fuzz::restartKeys();
        call("ensureKey", {{"nationalCode", sara}});
        if (certificate_.empty()) {
            certificate_ = OpenSSL::base64(OpenSSL::certificate(Fuzz::lastKey()));
        }
        call("storeCertificate", {{"nationalCode", sara}, {"certPem", certificate_}});
    }

  private:
    const TemporaryFolder folder_;
    const DigitalSignPlugin plugin_;
    std::string certificate_;
};

World& world() {
    static World instance;
    return instance;
}

std::optional<std::string> stringIn(const json& object, const char* key) {
    const auto member = object.find(key);
    return member != object.end() && member->is_string() ? std::optional(member->get<std::string>())
                                                         : std::nullopt;
}

std::string requestRejection(const json& options) {
    const auto user = options.find("userInfo");
    if (user == options.end() || !user->is_object()) {
        return "userInfo required";
    }
    for (const char* field : {"identificationId", "nationalCode", "name", "lastName", "enName", "enLastName",
                              "postalCode", "phoneNumber", "birthCertificateId", "birthDate", "city",
                              "provinceName", "gender", "citizenship"}) {
        if (!stringIn(*user, field)) {
            return "invalid userInfo";
        }
    }
    return stringIn(*user, "nationalCode")->empty() ? "nationalCode required" : "";
}

std::string certificateRejection(const json& options, bool isSara) {
    const std::string text = stringIn(options, "certPem").value_or("");
    if (text.empty()) {
        return "Provide certPem";
    }
    if (!isSara) {
        return "Certificate is not valid (key missing)";
    }
    // What follows a certificate is not looked at.
    const Bytes der = base64Decode(certificatePEMBody(text)).value_or(Bytes());
    const Bytes whole = OpenSSL::fromBase64(world().certificate());
    return BytesView(der).size() >= whole.size() && std::equal(whole.begin(), whole.end(), der.begin())
               ? ""
               : "Certificate is not valid";
}

std::string signatureRejection(const json& options, bool isSara) {
    const std::optional<std::string> digest = stringIn(options, "digestB64");
    if (!digest || !base64Decode(*digest)) {
        return "invalid digestB64";
    }
    return isSara ? "" : "sign_failed";
}

/// Returns the message with which the call must be rejected; empty if it must be resolved.
std::string expectedRejection(std::string_view method, const json& options) {
    if (method == "getBiometricStatus") {
        return "";
    }
    if (method == "createCSR") {
        return requestRejection(options);
    }
    const std::optional<std::string> code = stringIn(options, "nationalCode");
    if (!code) {
        return "nationalCode required";
    }
    if (method == "storeCertificate") {
        return certificateRejection(options, code == sara);
    }
    if (method == "signDigest") {
        return signatureRejection(options, code == sara);
    }
    return method == "getKeyInfo" && code != sara ? "not found" : "";
}

/// The members of each method's result, in their order.
constexpr std::pair<std::string_view, std::string_view> results[] = {
    {"hasKey", "exists"},
    {"getKeyInfo", "alias alg createdAt hardwareBacked publicKeyPem certificate"},
    {"deleteKey", "deleted"},
    {"storeCertificate", "stored"},
    {"getCertificate", "certPem"},
    {"createCSR", "csrPem"},
    {"signDigest", "signatureB64 algo digestB64"},
    {"ensureKey", "ok"},
    {"getBiometricStatus", "enabled status type"}};

constexpr auto resultOf(std::string_view method) {
    return std::find_if(std::begin(results), std::end(results),
                        [&](const auto& result) { return result.first == method; });
}
#define ADVERTISED(name)
#define METHOD(name) static_assert(resultOf(#name) != std::end(results), "results[] lacks " #name);
KAVREL_CRYPTO_METHODS(ADVERTISED, METHOD)
#undef ADVERTISED
#undef METHOD

void checkResult(std::string_view method, const json& options, const JSObject& result) {
    std::string members;
    for (const JSMember& member : result.members()) {
        members.append(members.empty() ? "" : " ").append(member.key);
    }
    check(members == resultOf(method)->second, "a result has the members of the table, in its order");
    const auto member = [&](std::string_view key) -> const JSValue& { return *result.find(key); };
    if (method == "hasKey") {
        check(member("exists") == JSValue(stringIn(options, "nationalCode") == sara), "only Sara has a key");
    } else if (method == "getKeyInfo") {
        check(member("alias") == JSValue(sara), "the alias comes back as it was sent");
        check(member("certificate") == JSValue(world().certificate()), "the slot holds the certificate");
    } else if (method == "getCertificate") {
        check(member("certPem") == JSValue(world().certificate()), "the slot holds the certificate");
    } else if (method == "signDigest") {
        check(member("digestB64") == JSValue(*stringIn(options, "digestB64")),
              "the digest comes back as it was sent");
    } else if (method == "createCSR") {
        const auto* request = member("csrPem").as<std::string>();
        check(request != nullptr && base64Decode(*request).has_value(), "a request is base64");
    }
}

/// Makes the call and checks how it ends. Afterwards the world is as it was.
void checkCall(std::string_view method, const json& options, JSObject arguments) {
    const std::optional<Host::Outcome> outcome = world().call(method, std::move(arguments));
    if (method == "setStyle") {
        check(!outcome, "a call of setStyle is never settled");
        return;
    }
    check(outcome.has_value(), "a call is settled");
    const std::string expected = expectedRejection(method, options);
    if (const auto* rejection = std::get_if<Host::Rejection>(&*outcome)) {
        check(rejection->message == expected, "a call is rejected for the right reason");
        check(!rejection->code, "a rejection of arguments has no code");
        return;
    }
    check(expected.empty(), "a call with wrong arguments is rejected");
    checkResult(method, options, std::get<JSObject>(*outcome));
    if (method == "ensureKey" || method == "deleteKey" || method == "storeCertificate" ||
        method == "createCSR") {
        world().restore();
    }
}

/// Puts Sara's certificate in the place of each "CERTIFICATE": no input could contain it, since her key is
/// another one in each process.
std::string withCertificate(std::string text) {
    constexpr std::string_view placeholder = "CERTIFICATE";
    for (std::size_t at = text.find(placeholder); at != std::string::npos && text.size() < 100'000;
         at = text.find(placeholder, at + world().certificate().size())) {
        text.replace(at, placeholder.size(), world().certificate());
    }
    return text;
}

std::optional<JSValue> parsed(const std::string& text) {
    try {
        return Host::parseJSON(text);
    } catch (const Host::JSONError&) {
        return std::nullopt;
    }
}

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    if (size == 0) {
        return 0;
    }
    const auto methods = DigitalSignPlugin::methods();
    const std::string_view method = methods[data[0] % methods.size()].name;
    const std::string text = withCertificate({data + 1, data + size});
    const std::optional<JSValue> value = parsed(text);
    const json tree = json::parse(text, nullptr, false);
    if (!value) {
        const bool mayBeRefused =
            tree.is_discarded() || text.find('\0') != std::string::npos ||
            std::count_if(text.begin(), text.end(), [](char c) { return c == '[' || c == '{'; }) > 512;
        check(mayBeRefused, "JSON is read, unless it is too deep");
        return 0;
    }
    check(!tree.is_discarded(), "only JSON is read");
    const std::string written = Host::writeJSON(*value);
    check(json::parse(written) == tree, "what was read and written again is the same JSON");
    check(Host::parseJSON(written) == *value, "what was written is read as the same value");
    if (const auto* object = value->as<JSObject>()) {
        checkCall(method, tree, *object);
    }
    return 0;
}
