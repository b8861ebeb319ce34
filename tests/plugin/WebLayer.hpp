#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Capacitor.hpp"
#include "tests/support/DeviceUnderTest.hpp"
#include "tests/support/TestCall.hpp"

/// The plugin as a page of the web layer meets it: calls by name, and how they end.
namespace KavrelCrypto {

/// How a call ended: with a result or with a rejection.
using Outcome = std::variant<JSObject, TestCall::Rejection>;

Outcome resolved(JSObject result);
Outcome rejected(std::string message, std::optional<std::string> code = std::nullopt);

using DeviceUnderTest::begin;

/// How `call` ended. The test fails unless it was finished exactly once.
Outcome outcomeOf(const TestCall& call);

/// A call of a method that finishes it before it returns, on the calling thread; otherwise the test fails.
Outcome call(std::string_view method, std::optional<JSObject> options);

/// Runs the main queue on the calling thread until all of `calls` are finished and nothing that was posted
/// before is left.
void finish(const std::vector<TestCallRef>& calls);

/// A call of "signDigest", up to its end.
Outcome sign(const std::string& nationalCode, const std::string& digestB64);

/// The text under `key` in the result of a call. Where there is none, the test fails and the text is empty.
std::string text(const Outcome& outcome, std::string_view key);

/// The arguments of a call about one person.
JSObject person(std::string nationalCode);
JSObject certificateOf(std::string nationalCode, std::string certPem);
JSObject digestFor(std::string nationalCode, std::string digestB64);

/// The identity record of a person, as the web layer sends it: fourteen texts.
JSObject identity(std::string nationalCode);

/// The arguments of a call of "createCSR".
JSObject request(JSObject userInfo);

/// `object` with `value` under `key`, in the place of the former value or at the end.
JSObject with(const JSObject& object, std::string_view key, JSValue value);

/// `object` without `key`.
JSObject without(const JSObject& object, std::string_view key);

/// Values of each JSON type but text.
const std::vector<JSValue>& valuesThatAreNoText();

/// How a failing test shows the values.
void PrintTo(const JSValue& value, std::ostream* out);
void PrintTo(const JSObject& object, std::ostream* out);
void PrintTo(const TestCall::Rejection& rejection, std::ostream* out);
void PrintTo(const CAPPluginMethod& method, std::ostream* out);

}  // namespace KavrelCrypto
