#include "tests/plugin/WebLayer.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>
#include <thread>
#include <utility>

namespace KavrelCrypto {

Outcome resolved(JSObject result) {
    return result;
}

Outcome rejected(std::string message, std::optional<std::string> code) {
    return TestCall::Rejection{.message = std::move(message), .code = std::move(code)};
}

Outcome outcomeOf(const TestCall& call) {
    EXPECT_EQ(call.timesFinished(), 1U);
    if (!call.results.empty()) {
        return call.results.front();
    }
    return call.rejections.empty() ? rejected("(never finished)") : call.rejections.front();
}

Outcome call(std::string_view method, std::optional<JSObject> options) {
    const TestCallRef testCall = begin(method, std::move(options));
    EXPECT_EQ(testCall->finishedOn, std::this_thread::get_id()) << method;
    return outcomeOf(*testCall);
}

void finish(const std::vector<TestCallRef>& calls) {
    DeviceUnderTest::runMainQueueUntil([&] {
        return std::all_of(calls.begin(), calls.end(),
                           [](const TestCallRef& c) { return c->timesFinished() > 0; });
    });
}

Outcome sign(const std::string& nationalCode, const std::string& digestB64) {
    const TestCallRef testCall = begin("signDigest", digestFor(nationalCode, digestB64));
    finish({testCall});
    return outcomeOf(*testCall);
}

std::string text(const Outcome& outcome, std::string_view key) {
    const auto* result = std::get_if<JSObject>(&outcome);
    const JSValue* value = result == nullptr ? nullptr : result->find(key);
    const auto* found = value == nullptr ? nullptr : value->as<std::string>();
    EXPECT_NE(found, nullptr) << "no text \"" << key << "\" in " << testing::PrintToString(outcome);
    return found == nullptr ? std::string() : *found;
}

JSObject person(std::string nationalCode) {
    return {{"nationalCode", std::move(nationalCode)}};
}

JSObject certificateOf(std::string nationalCode, std::string certPem) {
    return {{"nationalCode", std::move(nationalCode)}, {"certPem", std::move(certPem)}};
}

JSObject digestFor(std::string nationalCode, std::string digestB64) {
    return {{"nationalCode", std::move(nationalCode)}, {"digestB64", std::move(digestB64)}};
}

JSObject identity(std::string nationalCode) {
    return {
        {"identificationId", "A11223344"},
        {"nationalCode", std::move(nationalCode)},
        {"name", "سارا"},
        {"lastName", "محمدی"},
        {"enName", "Sara"},
        {"enLastName", "Mohammadi"},
        {"postalCode", "1193653471"},
        {"phoneNumber", "09120000000"},
        {"birthCertificateId", "1234"},
        {"birthDate", "1370/01/31"},
        {"city", "تهران"},
        {"provinceName", "Tehran"},
        {"gender", "female"},
        {"citizenship", "IR"},
    };
}

JSObject request(JSObject userInfo) {
    return {{"userInfo", std::move(userInfo)}};
}

JSObject with(const JSObject& object, std::string_view key, JSValue value) {
    std::vector<JSMember> members = object.members();
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const JSMember& member) { return member.key == key; });
    if (found == members.end()) {
        members.push_back({std::string(key), std::move(value)});
    } else {
        found->value = std::move(value);
    }
    return JSObject(std::move(members));
}

JSObject without(const JSObject& object, std::string_view key) {
    std::vector<JSMember> members = object.members();
    std::erase_if(members, [&](const JSMember& member) { return member.key == key; });
    return JSObject(std::move(members));
}

const std::vector<JSValue>& valuesThatAreNotStrings() {
    static const std::vector<JSValue> values = {
        nullptr,
        true,
        false,
        std::int64_t{0},
        std::int64_t{123},
        -1.5,
        JSArray{},
        JSArray{"0012345678"},
        JSObject{},
        JSObject{{"nationalCode", "0012345678"}},
    };
    return values;
}

void PrintTo(const JSValue& value, std::ostream* out) {
    std::visit([out](const auto& alternative) { *out << testing::PrintToString(alternative); },
               value.storage());
}

void PrintTo(const JSObject& object, std::ostream* out) {
    *out << '{';
    for (const JSMember& member : object.members()) {
        *out << ' ' << member.key << ": ";
        PrintTo(member.value, out);
    }
    *out << " }";
}

void PrintTo(const TestCall::Rejection& rejection, std::ostream* out) {
    *out << "rejection \"" << rejection.message << "\", code " << testing::PrintToString(rejection.code)
         << (rejection.error.has_value() ? ", with an error object" : "")
         << (rejection.data.has_value() ? ", with data" : "");
}

void PrintTo(const CAPPluginMethod& method, std::ostream* out) {
    *out << method.name << " (" << method.returnType << ')';
}

}  // namespace KavrelCrypto
