#pragma once

#include <optional>

#include "platform/Security.hpp"
#include "platform/desktop/Accessibility.hpp"
#include "platform/desktop/Failure.hpp"

namespace KavrelCrypto::Desktop {

/// A map as an operation reads it: entry by entry, each of the type that belongs to it. What does not fit is
/// a Failure with errSecParam.
class Attributes {
  public:
    /// `map` stays where it is meanwhile.
    explicit Attributes(const CFDictionary& map);

    /// The value of `key`; null when there is none.
    template <typename T>
    const T* take(SecConstant key) {
        const CFValue* value = find(key);
        const T* typed = value == nullptr ? nullptr : std::get_if<T>(value);
        if (value != nullptr && typed == nullptr) {
            throw wrong(key, "has a value of another type");
        }
        return typed;
    }

    /// The value of `key`, which has to be there.
    template <typename T>
    const T& require(SecConstant key) {
        const T* value = take<T>(key);
        if (value == nullptr) {
            throw wrong(key, "is missing");
        }
        return *value;
    }

    /// Whether `key` is there and true.
    bool flag(SecConstant key);

    /// To be called when everything known has been taken: nothing may be left.
    void finish() const;

    /// The failure that `key` is at fault for.
    static Failure wrong(SecConstant key, const std::string& what);

  private:
    const CFValue* find(SecConstant key);

    const CFDictionary& map_;
    std::vector<bool> taken_;
};

/// The accessibility that a kSecAttrAccessible… constant names; absent for the other constants.
std::optional<Accessibility> accessibilityNamed(SecConstant constant);

}  // namespace KavrelCrypto::Desktop
