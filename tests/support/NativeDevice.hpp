#pragma once

#include <functional>

/// What devices in the tests' own process have in common. NativeDevice.cpp defines the calls, the bounded
/// main queue, the console and the keychain of DeviceUnderTest over the component and the operations of
/// platform/. Each device's source file defines the rest of DeviceUnderTest, and the following.
namespace KavrelCrypto::NativeDevice {

/// Runs the main queue's tasks on the calling thread until `done` returns true, waiting for more where
/// necessary. `done` is called before the first task and after each one.
void runMainQueueUntil(const std::function<bool()>& done);

}  // namespace KavrelCrypto::NativeDevice
