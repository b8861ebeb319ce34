#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "platform/LocalAuthentication.hpp"

/// The desktop device as its host (a command, a test) sees it: a folder that holds a keychain and the state
/// of a simulated phone. It is for development and tests, and does not protect anybody's real key.
namespace KavrelCrypto::Desktop {

/// Reports that a device cannot be used because of its folder, its database or a value. `what()` tells people
/// what is wrong, where, and what to do.
class DeviceError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The number of biometric prompts without a match, in a row, that lock the sensor out.
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

/// Makes `folder` this process's device, in place of one that was opened earlier. Creates the folder (mode
/// 0700) and its files (0600) if they are missing. Throws a DeviceError if the folder cannot be used, or
/// holds a damaged or foreign database; then nothing in it has been changed. From then on the whole process
/// ignores the signal SIGXFSZ, unless it handles it: a write beyond the limit for the size of files fails
/// with an error, and does not end the process.
void openDevice(const std::filesystem::path& folder);

/// Returns `$KAVREL_DEVICE`, or else `kavrel/device` under `$XDG_DATA_HOME`, or else under `~/.local/share`.
/// Throws a DeviceError if none of the three is set.
std::filesystem::path defaultDeviceFolder();

/// Returns the state of the open device. Throws a DeviceError if it cannot be read.
DeviceState deviceState();

/// Sets the state of the open device, all of it or nothing. Throws a DeviceError if it cannot be written, or
/// if no device can be in that state (unlocked before its first unlock, an unknown kind of sensor, an
/// impossible count).
void setDeviceState(const DeviceState& state);

/// Like setDeviceState, with the state that `change` makes of the present one. Nobody else changes it
/// meanwhile. If `change` throws, the state stays as it was. `change` must not use the device.
void changeDeviceState(const std::function<void(DeviceState&)>& change);

/// Makes the open device like a new one: it has no items, and the state of a new device. Throws a DeviceError
/// if that cannot be written.
void resetDevice();

}  // namespace KavrelCrypto::Desktop
