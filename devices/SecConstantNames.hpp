#pragma once

#include <array>
#include <cstddef>

#include "platform/Security.hpp"

namespace KavrelCrypto {

/// The names of the constants, in the order of SecConstant, for devices that pass them on or print them.
inline constexpr std::array secConstantNames{
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
static_assert(secConstantNames.size() == std::size_t{kSecUseAuthenticationUIAllow} + 1);

}  // namespace KavrelCrypto
