#include "platform/desktop/Attributes.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

namespace KavrelCrypto::Desktop {
namespace {

/// In the order of SecConstant.
constexpr std::array names{
    "kSecClass",
    "kSecClassKey",
    "kSecClassGenericPassword",
    "kSecAttrApplicationTag",
    "kSecAttrKeyType",
    "kSecAttrKeyTypeRSA",
    "kSecAttrKeyTypeECSECPrimeRandom",
    "kSecAttrKeySizeInBits",
    "kSecAttrKeyClass",
    "kSecAttrKeyClassPrivate",
    "kSecAttrKeyClassPublic",
    "kSecAttrIsPermanent",
    "kSecAttrTokenID",
    "kSecAttrTokenIDSecureEnclave",
    "kSecAttrAccount",
    "kSecAttrAccessControl",
    "kSecAttrAccessible",
    "kSecAttrAccessibleWhenUnlocked",
    "kSecAttrAccessibleWhenUnlockedThisDeviceOnly",
    "kSecAttrAccessibleAfterFirstUnlock",
    "kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly",
    "kSecPrivateKeyAttrs",
    "kSecPublicKeyAttrs",
    "kSecValueData",
    "kSecReturnRef",
    "kSecReturnData",
    "kSecMatchLimit",
    "kSecMatchLimitOne",
    "kSecUseAuthenticationContext",
    "kSecUseAuthenticationUI",
    "kSecUseAuthenticationUIAllow",
};
static_assert(names.size() == std::size_t{kSecUseAuthenticationUIAllow} + 1);

}  // namespace

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

void Attributes::finish() const {
    for (std::size_t i = 0; i < map_.size(); ++i) {
        if (!taken_[i]) {
            throw wrong(map_[i].key, "does not belong here, or is there twice");
        }
    }
}

Failure Attributes::wrong(SecConstant key, const std::string& what) {
    return {errSecParam, std::string("The parameter ") + names.at(key) + " " + what + "."};
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
