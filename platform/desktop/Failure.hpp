#pragma once

#include <optional>
#include <string>

#include "platform/Foundation.hpp"
#include "platform/Security.hpp"
#include "platform/desktop/Device.hpp"

/// How what goes wrong inside the device leaves it: operations of the seam answer a status or an NSError and
/// never throw.
namespace KavrelCrypto::Desktop {

inline constexpr OSStatus errSecUnimplemented = -4;
inline constexpr OSStatus errSecDiskFull = -34;
inline constexpr OSStatus errSecIO = -36;
inline constexpr OSStatus errSecVerifyFailed = -67808;

/// What could not be done: the status that the platform has for it, and a sentence for people.
class Failure : public DeviceError {
  public:
    Failure(OSStatus status, const std::string& sentence) : DeviceError(sentence), status_(status) {}

    [[nodiscard]] OSStatus status() const {
        return status_;
    }

  private:
    OSStatus status_;
};

/// The platform's error for `failure`. Trouble with the device itself (its folder, its disk, its database) is
/// also told on standard error: whoever gets only a status could not find out.
NSError reported(const DeviceError& failure);

/// Runs `operation` and answers its status; a failure answers its own.
template <typename Operation>
OSStatus statusOf(Operation operation) {
    try {
        return operation();
    } catch (const DeviceError& failure) {
        return static_cast<OSStatus>(reported(failure).code);
    }
}

/// Runs `operation` and answers what it gives; a failure answers null, absent, zero or false, and says why in
/// `*error` unless `error` is null.
template <typename Operation>
auto resultOf(std::optional<NSError>* error, Operation operation) -> decltype(operation()) {
    try {
        return operation();
    } catch (const DeviceError& failure) {
        NSError reason = reported(failure);
        if (error != nullptr) {
            *error = std::move(reason);
        }
        return {};
    }
}

}  // namespace KavrelCrypto::Desktop
