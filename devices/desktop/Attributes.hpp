#pragma once

#include <optional>

#include "devices/desktop/Failure.hpp"
#include "devices/desktop/KeychainFile.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto::Desktop {

/// Reads the map that an operation was given, one entry at a time, each with the type that belongs to it.
/// Throws a Failure (errSecParam) for whatever does not fit.
class Attributes {
  public:
    /// `map` must outlive this object.
    explicit Attributes(const CFDictionary& map);

    /// Returns the value of `key`, or null if there is none.
    template <typename T>
    const T* take(SecConstant key) {
        const CFValue* value = find(key);
        const T* typed = value == nullptr ? nullptr : std::get_if<T>(value);
        if (value != nullptr && typed == nullptr) {
            throw failureOf(key, "has a value of another type");
        }
        return typed;
    }

    /// Returns the value of `key`. Throws if there is none.
    template <typename T>
    const T& require(SecConstant key) {
        const T* value = take<T>(key);
        if (value == nullptr) {
            throw failureOf(key, "is missing");
        }
        return *value;
    }

    /// Returns whether `key` is there and true.
    bool flag(SecConstant key);

    /// Returns what kSecAttrAccessible names, or else what counts for items that name nothing.
    Accessibility accessibility();

    /// Throws if the map holds an entry that was not taken.
    void finish() const;

    /// Returns the Failure for `key`. `what` completes the sentence that begins with its name.
    static Failure failureOf(SecConstant key, const std::string& what);

  private:
    const CFValue* find(SecConstant key);

    const CFDictionary& map_;
    std::vector<bool> taken_;
};

/// Returns the accessibility that a kSecAttrAccessible… constant names, or an absent value for any other
/// constant.
std::optional<Accessibility> accessibilityNamed(SecConstant constant);

}  // namespace KavrelCrypto::Desktop
