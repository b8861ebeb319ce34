#pragma once

#include <emscripten/val.h>
#include <optional>
#include <type_traits>

#include "platform/Security.hpp"

/// The way from the component, compiled to WebAssembly, to the device that is written in JavaScript.
namespace KavrelCrypto::Browser {

using emscripten::val;

/// The object that carries out the operations of the seam: the module's property "device".
val device();

/// What the device answers to an operation that can fail: a result, or why there is none.
struct Answer {
    val result = val::undefined();
    std::optional<NSError> error{};

    /// The error's code, or errSecSuccess without an error.
    [[nodiscard]] OSStatus status() const {
        return error ? static_cast<OSStatus>(error->code) : errSecSuccess;
    }

    /// The result by way of `convert`. Without one it is a value-initialised T, and `*reason` says why unless
    /// `reason` is null.
    template <typename Convert, typename T = std::invoke_result_t<Convert, const val&>>
    T resultOr(std::optional<NSError>* reason, Convert convert) const {
        if (!error) {
            return convert(result);
        }
        if (reason != nullptr) {
            *reason = error;
        }
        return T{};
    }
};

/// The error in `{ domain, code, description }`.
NSError errorOf(const val& object);

/// The answer in `{ result }` or `{ error }`.
Answer answerOf(const val& object);

/// Has the device carry out `operation` and waits for its answer, a promise that is never rejected. The whole
/// module is suspended until then, and nothing may enter it.
template <typename... Arguments>
Answer ask(const char* operation, const Arguments&... arguments) {
    return answerOf(device().call<val>(operation, arguments...).await());
}

/// A copy of `bytes` as a Uint8Array.
val arrayOf(BytesView bytes);

/// A copy of what a Uint8Array holds.
Bytes bytesOf(const val& array);

/// The map as an object. Its keys and the platform's constants are strings with the platform's names.
val objectOf(const CFDictionary& map);

}  // namespace KavrelCrypto::Browser
