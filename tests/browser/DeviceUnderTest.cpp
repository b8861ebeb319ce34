// The browser device as the device under the tests of the plugin: the packed WebAssembly, in a process of
// Node.js.

#include "tests/support/DeviceUnderTest.hpp"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <stdexcept>
#include <utility>

#include "tests/browser/HostProcess.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto::DeviceUnderTest {
namespace {

std::unique_ptr<HostProcess> host;

/// Starts the process before the first test, and ends it after the last.
class Package final : public testing::Environment {
  public:
    void SetUp() override {
        const char* const tarball = std::getenv("KAVREL_CRYPTO_PACKAGE");
        if (tarball == nullptr || !std::filesystem::exists(tarball)) {
            std::cerr << "plugin_tests_browser: there is no package. Run \"npm test -- simulator/suite\", "
                         "which packs it, or run \"npm pack\" and put the path of what it makes into "
                         "KAVREL_CRYPTO_PACKAGE.\n";
            std::exit(2);
        }
        host = std::make_unique<HostProcess>(tarball);
    }

    void TearDown() override {
        host.reset();
    }
};

[[maybe_unused]] const auto* const package = testing::AddGlobalTestEnvironment(new Package);

JSValue ask(std::string operation, std::vector<JSMember> arguments = {}) {
    arguments.insert(arguments.begin(), {"operation", std::move(operation)});
    return host->ask(JSObject(std::move(arguments)));
}

std::optional<std::string> string(const JSValue* value) {
    const auto* const found = value->as<std::string>();
    return found == nullptr ? std::nullopt : std::optional(*found);
}

std::vector<std::string> strings(const JSValue& list) {
    std::vector<std::string> all;
    for (const JSValue& element : *list.as<JSArray>()) {
        all.push_back(*element.as<std::string>());
    }
    return all;
}

/// The calls that have not ended yet, by the number that the device knows each one by.
std::map<std::int64_t, TestCallRef>& pendingCalls() {
    static std::map<std::int64_t, TestCallRef> calls;
    return calls;
}

/// Ends the calls that the device says have ended.
void end(const JSValue& calls) {
    for (const JSValue& element : *calls.as<JSArray>()) {
        const JSObject& ended = *element.as<JSObject>();
        const TestCallRef call = pendingCalls().extract(*ended.find("id")->as<std::int64_t>()).mapped();
        if (const JSValue* result = ended.find("result")) {
            call->resolve(*result->as<JSObject>());
        } else {
            call->reject(*string(ended.find("message")), string(ended.find("code")), std::nullopt,
                         std::nullopt);
        }
    }
}

const char* name(LABiometryType kind) {
    switch (kind) {
        case LABiometryType::none:
            return "none";
        case LABiometryType::touchID:
            return "touchID";
        case LABiometryType::faceID:
            return "faceID";
        case LABiometryType::opticID:
            return "opticID";
    }
    throw std::invalid_argument("a sensor of no kind that the browser device has");
}

const char* name(PromptAnswer answer) {
    switch (answer) {
        case PromptAnswer::match:
            return "match";
        case PromptAnswer::noMatch:
            return "noMatch";
        case PromptAnswer::cancel:
            break;
    }
    return "cancel";
}

}  // namespace

void startNew() {
    ask("startNew");
}

void setBiometrics(LABiometryType kind, bool enrolled, bool lockedOut) {
    ask("setState",
        {{"state", JSObject{{"biometry", name(kind)}, {"enrolled", enrolled}, {"lockedOut", lockedOut}}}});
}

void answerPrompts(PromptAnswer answer) {
    ask("answerPrompts", {{"how", name(answer)}});
}

std::vector<std::string> promptsShown() {
    return strings(ask("promptsShown"));
}

bool promptsInterrupt() {
    return true;
}

TestCallRef begin(std::string_view method, std::optional<JSObject> options) {
    static std::int64_t latest = 0;
    const std::int64_t id = ++latest;
    const auto call = std::make_shared<TestCall>(std::move(options));
    pendingCalls()[id] = call;
    end(ask("begin", {{"id", id},
                      {"method", std::string(method)},
                      {"options", call->options() == nullptr ? JSValue() : JSValue(*call->options())}}));
    return call;
}

void runMainQueueUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!done() && std::chrono::steady_clock::now() < deadline) {
        end(ask("runMainQueue"));
    }
}

std::string printedBy(const std::function<void()>& work) {
    ask("takeLines");
    work();
    std::string printed;
    for (const std::string& line : strings(ask("takeLines"))) {
        printed += line + '\n';
    }
    return printed;
}

std::optional<Bytes> keychainKey(KeyHalf half, const std::string& tag) {
    const char* const name = half == KeyHalf::privateKey ? "privateKey" : "publicKey";
    const JSValue key = ask("keychainKey", {{"half", name}, {"tag", tag}});
    const std::optional<std::string> encoded = string(&key);
    return encoded ? std::optional(OpenSSL::fromBase64(*encoded)) : std::nullopt;
}

Bytes addKeychainPair(const std::string& privateTag, const std::string& publicTag) {
    const JSValue key = ask("addKeychainPair", {{"privateTag", privateTag}, {"publicTag", publicTag}});
    return OpenSSL::fromBase64(*key.as<std::string>());
}

bool deleteKeychainKeys(const std::string& tag) {
    return *ask("deleteKeychainKeys", {{"tag", tag}}).as<bool>();
}

}  // namespace KavrelCrypto::DeviceUnderTest
