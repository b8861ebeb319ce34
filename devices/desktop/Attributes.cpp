#include "devices/desktop/Attributes.hpp"

#include <algorithm>
#include <iterator>
#include <string>

#include "devices/SecConstantNames.hpp"

namespace KavrelCrypto::Desktop {

Attributes::Attributes(const CFDictionary& map) : map_(map), taken_(map.size()) {}

const CFValue* Attributes::find(SecConstant key) {
    const auto entry = std::find_if(map_.begin(), map_.end(), [&](const auto& e) { return e.key == key; });
    if (entry == map_.end()) {
        return nullptr;
    }
    taken_[static_cast<std::size_t>(std::distance(map_.begin(), entry))] = true;
    return &entry->value;
}

bool Attributes::flag(SecConstant key) {
    const bool* value = take<bool>(key);
    return value != nullptr && *value;
}

Accessibility Attributes::accessibility() {
    const auto* name = take<SecConstant>(kSecAttrAccessible);
    const auto named = accessibilityNamed(name != nullptr ? *name : kSecAttrAccessibleWhenUnlocked);
    if (!named) {
        throw failureOf(kSecAttrAccessible, "has an unknown value");
    }
    return *named;
}

void Attributes::finish() const {
    for (std::size_t i = 0; i < map_.size(); ++i) {
        if (!taken_[i]) {
            throw failureOf(map_[i].key, "does not belong here, or is there twice");
        }
    }
}

Failure Attributes::failureOf(SecConstant key, const std::string& what) {
    return {errSecParam, std::string("The parameter ") + secConstantNames.at(key) + " " + what + "."};
}

std::optional<Accessibility> accessibilityNamed(SecConstant constant) {
    switch (constant) {
        case kSecAttrAccessibleWhenUnlocked:
            return Accessibility::whenUnlocked;
        case kSecAttrAccessibleWhenUnlockedThisDeviceOnly:
            return Accessibility::whenUnlockedThisDeviceOnly;
        case kSecAttrAccessibleAfterFirstUnlock:
            return Accessibility::afterFirstUnlock;
        case kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly:
            return Accessibility::afterFirstUnlockThisDeviceOnly;
        default:
            return std::nullopt;
    }
}

}  // namespace KavrelCrypto::Desktop
