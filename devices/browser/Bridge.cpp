#include "devices/browser/Bridge.hpp"

#include <string>

#include "devices/SecConstantNames.hpp"

namespace KavrelCrypto::Browser {
namespace {

struct MakeValue {
    val operator()(bool value) const {
        return val(value);
    }
    val operator()(std::int64_t value) const {
        return val(static_cast<double>(value));
    }
    val operator()(const std::string& value) const {
        return val(value);
    }
    val operator()(const Bytes& value) const {
        return arrayOf(value);
    }
    val operator()(SecConstant value) const {
        return val(secConstantNames.at(value));
    }
    val operator()(const CFDictionary& value) const {
        return objectOf(value);
    }
    // The device has no use for these two: no item asks for leave, and none has an access control.
    val operator()(const LAContextRef&) const {
        return val::null();
    }
    val operator()(const SecAccessControlRef&) const {
        return val::null();
    }
};

}  // namespace

val device() {
    return val::module_property("device");
}

NSError errorOf(const val& object) {
    return {
        .domain = object["domain"].as<std::string>(),
        .code = object["code"].as<int>(),
        .userInfo = {{std::string(NSLocalizedDescriptionKey), object["description"].as<std::string>()}},
    };
}

Answer answerOf(const val& object) {
    const val error = object["error"];
    if (error.isUndefined()) {
        return {.result = object["result"]};
    }
    return {.error = errorOf(error)};
}

val arrayOf(BytesView bytes) {
    // A view of the module's memory would not outlive the memory's next growth.
    return val(emscripten::typed_memory_view(bytes.size(), bytes.data())).call<val>("slice");
}

Bytes bytesOf(const val& array) {
    return emscripten::convertJSArrayToNumberVector<std::uint8_t>(array);
}

val objectOf(const CFDictionary& map) {
    val object = val::object();
    for (const auto& [key, value] : map) {
        object.set(secConstantNames.at(key), std::visit(MakeValue{}, value));
    }
    return object;
}

}  // namespace KavrelCrypto::Browser
