#pragma once

#include <memory>

#include "platform/desktop/Keychain.hpp"

namespace KavrelCrypto::Desktop {

/// The keychain of this process's device; opens the default one when none is open yet. Throws DeviceError.
/// Whoever holds it keeps it open when the process turns to another device.
std::shared_ptr<Keychain> currentKeychain();

/// Makes the place where the current device is kept: a static object made after this call is destroyed before
/// it.
void prepareCurrentDevice();

}  // namespace KavrelCrypto::Desktop
