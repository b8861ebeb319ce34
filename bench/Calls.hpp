#pragma once

#include <functional>
#include <stdexcept>
#include <string_view>

#include "bench/Inputs.hpp"
#include "plugin/DigitalSignPlugin.hpp"
#include "tests/support/TestCall.hpp"

/// Calls of the plugin as a page makes them.
namespace KavrelCrypto::Bench {

/// Runs the tasks of the device's main queue until `done` returns true.
void runMainQueueUntil(const std::function<bool()>& done);

/// Makes `call`, which may have been made before, and returns its result. It may be settled on the main
/// queue, so one thread at a time may do this. Throws std::runtime_error if the call is rejected.
inline JSObject resultOf(std::string_view method, const TestCallRef& call) {
    static const DigitalSignPlugin plugin;
    call->results.clear();
    plugin.perform(method, call);
    runMainQueueUntil([&] { return call->timesFinished() != 0; });
    if (!call->rejections.empty()) {
        throw std::runtime_error("A call was rejected with \"" + call->rejections.front().message + "\".");
    }
    return call->results.front();
}

inline JSObject personOptions(const std::string& nationalCode) {
    return {{"nationalCode", nationalCode}};
}

inline JSObject requestOptions() {
    const UserInfo user = sara();
#define FIELD(name) {#name, user.name},
    return {{"userInfo", JSObject{KAVREL_CRYPTO_USER_INFO(FIELD)}}};
#undef FIELD
}

inline JSObject digestOptions(const std::string& nationalCode, const std::string& digestB64) {
    return {{"nationalCode", nationalCode}, {"digestB64", digestB64}};
}

}  // namespace KavrelCrypto::Bench
