#pragma once

#include <array>
#include <cstdint>

/// When an item can be reached. The numbers are those in the database.
namespace KavrelCrypto::Desktop {

enum class Accessibility : std::int64_t {
    whenUnlocked = 1,
    whenUnlockedThisDeviceOnly = 2,
    afterFirstUnlock = 3,
    afterFirstUnlockThisDeviceOnly = 4,
};

inline constexpr std::array allAccessibilities{
    Accessibility::whenUnlocked, Accessibility::whenUnlockedThisDeviceOnly, Accessibility::afterFirstUnlock,
    Accessibility::afterFirstUnlockThisDeviceOnly};

}  // namespace KavrelCrypto::Desktop
