#pragma once

#include <array>
#include <cstdint>
#include <filesystem>

#include "devices/desktop/SQLite.hpp"

/// The device's folder and the database file in it.
namespace KavrelCrypto::Desktop {

/// Opens the keychain database in `folder`, and makes the folder (mode 0700) and the database (0600) if they
/// are missing. Throws a DeviceError if the folder cannot be used, or if what it holds is not a keychain of
/// this device; then nothing has been changed.
Database openKeychainFile(const std::filesystem::path& folder);

/// When an item can be reached. The numbers are those in the database.
enum class Accessibility : std::int64_t {
    whenUnlocked = 1,
    whenUnlockedThisDeviceOnly = 2,
    afterFirstUnlock = 3,
    afterFirstUnlockThisDeviceOnly = 4,
};

inline constexpr std::array allAccessibilities{
    Accessibility::whenUnlocked, Accessibility::whenUnlockedThisDeviceOnly, Accessibility::afterFirstUnlock,
    Accessibility::afterFirstUnlockThisDeviceOnly};

/// Stores a new sealing key for each accessibility in `database`, which has neither such keys nor items.
void makeClassKeys(Database& database);

}  // namespace KavrelCrypto::Desktop
