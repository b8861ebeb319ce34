#include "tests/desktop/Session.hpp"

#include <chrono>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>
#include <utility>

#include "platform/Dispatch.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto {
namespace {

const Bytes digest = bytesOf("a digest of thirty-two characters");

bool isResolved(const Outcome& outcome) {
    return std::holds_alternative<JSObject>(outcome);
}

/// Makes a call of "signDigest" on a thread that waits while the main thread runs the queue.
Outcome signElsewhere(JSObject options) {
    const TestCallRef call = begin("signDigest", std::move(options));
    for (int milliseconds = 0; milliseconds < 60'000; ++milliseconds) {
        std::promise<bool> isFinished;
        dispatchAsyncMain([&] { isFinished.set_value(call->timesFinished() > 0); });
        if (isFinished.get_future().get()) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return outcomeOf(*call);
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

Outcome Session::make(std::string_view method, JSObject options) {
    failuresBefore_ = failures_();
    return call(method, std::move(options));
}

void Session::makeAny() {
    // More of what changes the keychain.
    constexpr void (Session::*methods[])(const std::string&) = {
        &Session::ensureKey,        &Session::ensureKey,        &Session::getKeyInfo,
        &Session::getKeyInfo,       &Session::createCSR,        &Session::deleteKey,
        &Session::storeCertificate, &Session::storeCertificate, &Session::getCertificate,
        &Session::signDigest,       &Session::hasKey,           &Session::getBiometricStatus};
    const auto method = methods[random_() % std::size(methods)];
    (this->*method)(setting_.persons[random_() % setting_.persons.size()]);
}

void Session::ensureKey(const std::string& who) {
    note(who, "?");
    const Outcome outcome = make("ensureKey", person(who));
    EXPECT_TRUE(isResolved(outcome) || couldFail()) << testing::PrintToString(outcome);
    if (isResolved(outcome)) {
        note(who, "some");
    }
}

void Session::deleteKey(const std::string& who) {
    note(who, "?");
    noteSlot("?");
    const Outcome outcome = make("deleteKey", person(who));
    EXPECT_EQ(outcome, resolved({{"deleted", true}}));
    if (!couldFail()) {
        note(who, "none");
        noteSlot("none");
    }
}

void Session::hasKey(const std::string& who) {
    const Outcome outcome = make("hasKey", person(who));
    const std::string known = acknowledged_.known(who);
    if (!couldFail() && known != "?" && !known.empty()) {
        EXPECT_EQ(outcome, resolved({{"exists", known != "none"}}));
    }
}

void Session::getKeyInfo(const std::string& who) {
    const Outcome outcome = make("getKeyInfo", person(who));
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
    const Outcome outcome = make("createCSR", request(identity(who)));
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
    const Outcome outcome = make("storeCertificate", certificateOf(who, pem));
    if (!couldFail()) {
        EXPECT_EQ(outcome, resolved({{"stored", true}}));
        noteSlot(fingerprint(pem));
    }
}

void Session::getCertificate(const std::string& who) {
    const Outcome outcome = make("getCertificate", person(who));
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
    failuresBefore_ = failures_();
    const Outcome outcome =
        setting_.isOnMainThread ? sign(who, digestB64) : signElsewhere(digestFor(who, digestB64));
    if (!couldFail() && known != "?" && !known.empty()) {
        EXPECT_EQ(isResolved(outcome), known != "none") << testing::PrintToString(outcome);
    }
    if (isResolved(outcome) && isFingerprint(known)) {
        expectSignature(OpenSSL::publicKey(publicKeys_.at(who)), outcome);
    }
}

void Session::getBiometricStatus(const std::string&) {
    const Outcome outcome = make("getBiometricStatus", JSObject());
    if (!couldFail()) {
        EXPECT_EQ(text(outcome, "status"), "BIOMETRIC_SUCCESS");
    }
}

}  // namespace KavrelCrypto
