#pragma once

#include <filesystem>

#include "platform/desktop/SQLite.hpp"

/// The device's folder and the database file in it.
namespace KavrelCrypto::Desktop {

/// Opens the keychain database in `folder`; makes the folder (mode 0700) and the database (0600) where they
/// are missing. Throws DeviceError when the folder cannot be used or what is in it is no keychain of this
/// device; then nothing has been changed.
Database openKeychainFile(const std::filesystem::path& folder);

/// Gives `database`, whose items are gone, a fresh sealing key for each accessibility.
void makeClassKeys(Database& database);

}  // namespace KavrelCrypto::Desktop
