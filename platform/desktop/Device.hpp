#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "platform/LocalAuthentication.hpp"

/// The desktop device, as the host of the component (a command, a test) meets it: a folder that holds a
/// keychain and the state of a simulated phone. It is for development and tests and protects nobody's real
/// key.
namespace KavrelCrypto::Desktop {

/// A device that cannot be used: the folder, the database or a value is at fault. `what()` is a sentence for
/// people: what is wrong, where, and what to do.
class DeviceError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// As many biometric prompts without a match, in a row, lock the sensor out.
inline constexpr std::int64_t promptsBeforeLockout = 5;

/// The state of the simulated phone. A new device has the values below.
struct DeviceState {
    LABiometryType biometry = LABiometryType::faceID;
    bool enrolled = true;
    bool lockedOut = false;
    bool locked = false;
    bool firstUnlock = true;         // the device was unlocked at least once since it was started
    std::int64_t failedPrompts = 0;  // without a match, in a row; counted up to promptsBeforeLockout

    friend bool operator==(const DeviceState&, const DeviceState&) = default;
};

/// Makes `folder` this process's device, in place of one opened earlier. Creates the folder (mode 0700) and
/// its files (0600) where missing. Throws DeviceError when the folder cannot be used or holds a damaged or
/// foreign database; then nothing in it has been changed.
void openDevice(const std::filesystem::path& folder);

/// `$KAVREL_DEVICE`, else `kavrel/device` under `$XDG_DATA_HOME`, else under `~/.local/share`. Throws
/// DeviceError when none of the three is set.
std::filesystem::path defaultDeviceFolder();

/// The state of the open device. Throws DeviceError when it cannot be read.
DeviceState deviceState();

/// Sets the state of the open device, all of it or nothing. Throws DeviceError if no device can be in that
/// state (one that is unlocked before its first unlock, an unknown kind of sensor, an impossible count) or if
/// it cannot be written.
void setDeviceState(const DeviceState& state);

/// As setDeviceState, with the state that `change` makes of the present one. Nobody else changes it
/// meanwhile. What `change` throws leaves the state as it was. `change` does not use the device itself.
void changeDeviceState(const std::function<void(DeviceState&)>& change);

/// Makes the open device a new one: no items, the state of a new device. Throws DeviceError.
void resetDevice();

}  // namespace KavrelCrypto::Desktop
