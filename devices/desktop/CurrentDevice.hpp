#pragma once

#include <memory>

#include "devices/desktop/Keychain.hpp"

namespace KavrelCrypto::Desktop {

/// Returns the keychain of this process's device. Opens the default device if none is open; throws a
/// DeviceError if that fails. The keychain stays open for its holders even if the process opens another
/// device.
std::shared_ptr<Keychain> currentKeychain();

/// Creates the static object that holds the current device. A static object that is created after this call
/// is destroyed earlier, so its destructor may still use the device.
void prepareCurrentDevice();

}  // namespace KavrelCrypto::Desktop
