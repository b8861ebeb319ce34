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

/// The plugin as a page sees it: calls by name, and how they end.
namespace KavrelCrypto {

/// How a call ended.
using Outcome = std::variant<JSObject, TestCall::Rejection>;

Outcome resolved(JSObject result);
Outcome rejected(std::string message, std::optional<std::string> code = std::nullopt);

using DeviceUnderTest::begin;

/// Returns how `call` ended. The test fails unless it was finished exactly once.
Outcome outcomeOf(const TestCall& call);

/// Makes a call and returns how it ended. The test fails unless the call was finished on this thread before
/// its entry point returned.
Outcome call(std::string_view method, std::optional<JSObject> options);

/// Runs the main queue until all of `calls` are finished, then the tasks that were posted before that.
void finish(const std::vector<TestCallRef>& calls);

/// Makes a call of "signDigest", runs the main queue and returns how the call ended.
Outcome sign(const std::string& nationalCode, const std::string& digestB64);

/// Returns the string under `key` in the result of a call. If there is none, the test fails and the string is
/// empty.
std::string text(const Outcome& outcome, std::string_view key);

/// The arguments of calls about one person.
JSObject person(std::string nationalCode);
JSObject certificateOf(std::string nationalCode, std::string certPem);
JSObject digestFor(std::string nationalCode, std::string digestB64);

/// Returns the identity record of a person, as the web layer sends it: fourteen strings.
JSObject identity(std::string nationalCode);

/// Returns the arguments of a call of "createCSR".
JSObject request(JSObject userInfo);

/// Returns `object` with `value` under `key`, in the former value's place or at the end.
JSObject with(const JSObject& object, std::string_view key, JSValue value);

/// Returns `object` without `key`.
JSObject without(const JSObject& object, std::string_view key);

/// Returns values of each JSON type but string.
const std::vector<JSValue>& valuesThatAreNotStrings();

/// Print the values where a test fails.
void PrintTo(const JSValue& value, std::ostream* out);
void PrintTo(const JSObject& object, std::ostream* out);
void PrintTo(const TestCall::Rejection& rejection, std::ostream* out);
void PrintTo(const CAPPluginMethod& method, std::ostream* out);

}  // namespace KavrelCrypto
