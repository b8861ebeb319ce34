#pragma once

#include <functional>

/// The part of DeviceUnderTest that all devices in this process have in common: NativeDevice.cpp defines the
/// calls, the main queue's bound, the console and the keychain, over the component and the operations of
/// platform/. The device's own source file defines the rest, and the following.
namespace KavrelCrypto::NativeDevice {

/// Runs the main queue's tasks on the calling thread until `done` returns true, waiting for more where
/// necessary. `done` is called before the first task and after each one.
void runMainQueueUntil(const std::function<bool()>& done);

}  // namespace KavrelCrypto::NativeDevice
