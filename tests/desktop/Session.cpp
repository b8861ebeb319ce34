#include "tests/desktop/Session.hpp"

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <iterator>
#include <utility>

#include "plugin/DigitalSignPlugin.hpp"
#include "tests/plugin/OpenSSL.hpp"
#include "tests/plugin/WebLayer.hpp"

namespace KavrelCrypto {
namespace {

const Bytes digest = bytesOf("a digest of thirty-two characters");

/// The messages with which a method can be rejected because of the device.
struct Rejections {
    std::string_view method;
    std::vector<std::string> messages;
};

const Rejections rejections[] = {
    {"hasKey", {}},
    {"getKeyInfo", {"not found", "failed to get public key"}},
    {"deleteKey", {}},
    {"storeCertificate", {"Certificate is not valid (key missing)", "Certificate is not valid"}},
    {"getCertificate", {}},
    {"createCSR", {"ensure_key_failed", "csr_failed"}},
    {"signDigest", {"sign_failed"}},
    {"ensureKey", {"ensure_key_failed"}},
    {"getBiometricStatus", {}}};

bool isResolved(const Outcome& outcome) {
    return std::holds_alternative<JSObject>(outcome);
}

void expectOneOfItsEnds(std::string_view method, const Outcome& outcome) {
    const auto* row = std::find_if(std::begin(rejections), std::end(rejections),
                                   [&](const Rejections& r) { return r.method == method; });
    const auto* rejection = std::get_if<TestCall::Rejection>(&outcome);
    EXPECT_TRUE(rejection == nullptr || std::find(row->messages.begin(), row->messages.end(),
                                                  rejection->message) != row->messages.end())
        << method << ": " << testing::PrintToString(outcome);
}

/// Makes a call that ends before its method returns.
Outcome outcomeOfCall(std::string_view method, JSObject options) {
    const Outcome outcome = call(method, std::move(options));
    expectOneOfItsEnds(method, outcome);
    return outcome;
}

/// A call that another thread waits for.
class AwaitedCall : public CAPPluginCall {
  public:
    explicit AwaitedCall(JSObject options) : options_(std::move(options)) {}

    [[nodiscard]] const JSObject* options() const override {
        return &options_;
    }
    void resolve(JSObject result) override {
        outcome_.set_value(resolved(std::move(result)));
    }
    void reject(std::string message, std::optional<std::string> code, std::optional<NSError>,
                std::optional<JSObject>) override {
        outcome_.set_value(rejected(std::move(message), std::move(code)));
    }

    Outcome wait() {
        std::future<Outcome> outcome = outcome_.get_future();
        if (outcome.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
            return rejected("(never finished)");
        }
        return outcome.get();
    }

  private:
    const JSObject options_;
    std::promise<Outcome> outcome_;
};

Outcome signElsewhere(JSObject options) {
    const auto call = std::make_shared<AwaitedCall>(std::move(options));
    DigitalSignPlugin().signDigest(call);
    return call->wait();
}

void expectSignature(const OpenSSL::Key& key, const Outcome& outcome) {
    EXPECT_TRUE(OpenSSL::verifies(key, digest, OpenSSL::fromBase64(text(outcome, "signatureB64"))));
}

bool isCertificate(const std::string& pem) {
    const std::string begin = "-----BEGIN CERTIFICATE-----\n";
    const std::string end = "-----END CERTIFICATE-----\n";
    if (!pem.starts_with(begin) || !pem.ends_with(end)) {
        return false;
    }
    std::string body = pem.substr(begin.size(), pem.size() - begin.size() - end.size());
    std::erase(body, '\n');
    const Bytes der = OpenSSL::fromBase64(body);
    const std::uint8_t* next = der.data();
    const std::shared_ptr<X509> certificate(d2i_X509(nullptr, &next, static_cast<long>(der.size())),
                                            X509_free);
    return certificate != nullptr && next == der.data() + der.size();
}

/// Returns a short string that tells a PEM text from others. That of "none" is "none".
std::string fingerprint(const std::string& pem) {
    return pem == "none" ? pem : std::to_string(std::hash<std::string>()(pem));
}

bool isFingerprint(const std::string& known) {
    return known != "" && known != "none" && known != "some" && known != "?";
}

/// Returns the content of the slot after "getCertificate", or "none".
std::string slotIn(const Outcome& outcome) {
    const auto* result = std::get_if<JSObject>(&outcome);
    const auto* content = result == nullptr ? nullptr : result->find("certPem")->as<std::string>();
    return content == nullptr ? "none" : *content;
}

void expectUsableKey(const std::string& who, const std::string& known) {
    const Outcome info = call("getKeyInfo", person(who));
    if (!isResolved(info)) {
        ADD_FAILURE() << who << " has no key but " << known << ": " << testing::PrintToString(info);
        return;
    }
    const std::string pem = text(info, "publicKeyPem");
    const OpenSSL::Key key = OpenSSL::publicKey(pem);
    expectSignature(key, sign(who, OpenSSL::base64(digest)));
    if (isFingerprint(known)) {
        EXPECT_EQ(fingerprint(pem), known) << who;
    }
}

}  // namespace

void Acknowledged::note(const std::string& name, const std::string& value) {
    values_[name] = value;
}

std::string Acknowledged::known(const std::string& name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? "" : found->second;
}

void Acknowledged::expectKept() const {
    for (const auto& [name, value] : values_) {
        if (name == "slot") {
            const std::string found = slotIn(call("getCertificate", person("anybody")));
            EXPECT_TRUE(found == "none" || isCertificate(found)) << found;
            EXPECT_TRUE(value == "?" || value == fingerprint(found))
                << value << " was kept, not " << fingerprint(found);
            continue;
        }
        const bool exists = call("hasKey", person(name)) == resolved({{"exists", true}});
        EXPECT_TRUE(value == "?" || exists == (value != "none")) << name << " had " << value;
        if (exists) {
            expectUsableKey(name, value);
        }
    }
}

Session::Session(Setting setting, Journal journal)
    : setting_(std::move(setting)), random_(setting_.seed), journal_(std::move(journal)) {}

void Session::expectFailures(std::function<long()> failures) {
    failures_ = std::move(failures);
}

bool Session::couldFail() const {
    return failures_() != failuresBefore_;
}

void Session::note(const std::string& name, const std::string& value) {
    acknowledged_.note(name, value);
    journal_(name, value);
}

void Session::noteSlot(const std::string& value) {
    note("slot", setting_.isSlotShared ? "?" : value);
}

void Session::make(std::string_view method, const std::string& person) {
    const std::pair<std::string_view, void (Session::*)(const std::string&)> methods[] = {
        {"hasKey", &Session::hasKey},
        {"getKeyInfo", &Session::getKeyInfo},
        {"deleteKey", &Session::deleteKey},
        {"storeCertificate", &Session::storeCertificate},
        {"getCertificate", &Session::getCertificate},
        {"createCSR", &Session::createCSR},
        {"signDigest", &Session::signDigest},
        {"ensureKey", &Session::ensureKey},
        {"getBiometricStatus", &Session::getBiometricStatus}};
    failuresBefore_ = failures_();
    for (const auto& [name, function] : methods) {
        if (name == method) {
            (this->*function)(person);
        }
    }
}

void Session::makeAny() {
    // More of what changes the keychain.
    constexpr std::string_view methods[] = {
        "ensureKey",        "ensureKey", "getKeyInfo",     "getKeyInfo", "createCSR", "storeCertificate",
        "storeCertificate", "deleteKey", "getCertificate", "signDigest", "hasKey",    "getBiometricStatus"};
    make(methods[random_() % std::size(methods)], setting_.persons[random_() % setting_.persons.size()]);
}

void Session::ensureKey(const std::string& who) {
    note(who, "?");
    const Outcome outcome = outcomeOfCall("ensureKey", person(who));
    EXPECT_TRUE(isResolved(outcome) || couldFail()) << testing::PrintToString(outcome);
    if (isResolved(outcome)) {
        note(who, "some");
    }
}

void Session::deleteKey(const std::string& who) {
    note(who, "?");
    noteSlot("?");
    const Outcome outcome = outcomeOfCall("deleteKey", person(who));
    EXPECT_EQ(outcome, resolved({{"deleted", true}}));
    if (!couldFail()) {
        note(who, "none");
        noteSlot("none");
    }
}

void Session::hasKey(const std::string& who) {
    const Outcome outcome = outcomeOfCall("hasKey", person(who));
    const std::string known = acknowledged_.known(who);
    if (!couldFail() && known != "?" && !known.empty()) {
        EXPECT_EQ(outcome, resolved({{"exists", known != "none"}}));
    }
}

void Session::getKeyInfo(const std::string& who) {
    const Outcome outcome = outcomeOfCall("getKeyInfo", person(who));
    const std::string known = acknowledged_.known(who);
    if (couldFail() || known == "?") {
        return;
    }
    const std::string pem = isResolved(outcome) ? text(outcome, "publicKeyPem") : "none";
    const bool isAsExpected = known.empty() || (known == "some" ? pem != "none" : fingerprint(pem) == known);
    EXPECT_TRUE(isAsExpected) << known << " became " << fingerprint(pem);
    note(who, fingerprint(pem));
    publicKeys_[who] = pem;
}

void Session::createCSR(const std::string& who) {
    const std::string known = acknowledged_.known(who);
    const bool isKnown = known == "?" || known == "some" || isFingerprint(known);
    if (!isKnown) {
        note(who, "?");
    }
    const Outcome outcome = outcomeOfCall("createCSR", request(identity(who)));
    if (isResolved(outcome)) {
        const OpenSSL::Request made = OpenSSL::parsedRequest(OpenSSL::fromBase64(text(outcome, "csrPem")));
        EXPECT_EQ(X509_REQ_verify(made.get(), X509_REQ_get0_pubkey(made.get())), 1);
    }
    if (!couldFail()) {
        EXPECT_TRUE(isResolved(outcome)) << testing::PrintToString(outcome);
        note(who, isKnown ? known : "some");
    }
}

void Session::storeCertificate(const std::string& who) {
    if (!isFingerprint(acknowledged_.known(who))) {
        return;  // it takes a key to issue one
    }
    const OpenSSL::Key key = OpenSSL::publicKey(publicKeys_.at(who));
    const std::string pem =
        OpenSSL::pem(OpenSSL::certificate(key, {.subject = who + " " + std::to_string(++certificates_)}));
    noteSlot("?");
    const Outcome outcome = outcomeOfCall("storeCertificate", certificateOf(who, pem));
    if (!couldFail()) {
        EXPECT_EQ(outcome, resolved({{"stored", true}}));
        noteSlot(fingerprint(pem));
    }
}

void Session::getCertificate(const std::string& who) {
    const Outcome outcome = outcomeOfCall("getCertificate", person(who));
    const std::string found = slotIn(outcome);
    EXPECT_TRUE(found == "none" || isCertificate(found)) << found;
    const std::string known = acknowledged_.known("slot");
    if (!couldFail() && known != "?") {
        EXPECT_TRUE(known.empty() || known == fingerprint(found)) << known << " became " << found;
        noteSlot(fingerprint(found));
    }
}

void Session::signDigest(const std::string& who) {
    const std::string known = acknowledged_.known(who);
    const std::string digestB64 = OpenSSL::base64(digest);
    const Outcome outcome =
        setting_.isOnMainThread ? sign(who, digestB64) : signElsewhere(digestFor(who, digestB64));
    expectOneOfItsEnds("signDigest", outcome);
    if (!couldFail() && known != "?" && !known.empty()) {
        EXPECT_EQ(isResolved(outcome), known != "none") << testing::PrintToString(outcome);
    }
    if (isResolved(outcome) && isFingerprint(known)) {
        expectSignature(OpenSSL::publicKey(publicKeys_.at(who)), outcome);
    }
}

void Session::getBiometricStatus(const std::string&) {
    const Outcome outcome = outcomeOfCall("getBiometricStatus", JSObject());
    if (!couldFail()) {
        EXPECT_EQ(text(outcome, "status"), "BIOMETRIC_SUCCESS");
    }
}

}  // namespace KavrelCrypto
