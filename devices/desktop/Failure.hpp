#pragma once

#include <optional>
#include <string>

#include "devices/desktop/Device.hpp"
#include "platform/Foundation.hpp"
#include "platform/Security.hpp"

/// How an operation of the seam reports what goes wrong inside the device: it returns a status or an NSError,
/// and throws nothing.
namespace KavrelCrypto::Desktop {

inline constexpr OSStatus errSecUnimplemented = -4;
inline constexpr OSStatus errSecDiskFull = -34;
inline constexpr OSStatus errSecIO = -36;
inline constexpr OSStatus errSecAllocate = -108;
inline constexpr OSStatus errSecInternalComponent = -2070;
inline constexpr OSStatus errSecVerifyFailed = -67808;

/// Something that could not be done, with the platform's status for it and a sentence for people.
class Failure : public DeviceError {
  public:
    Failure(OSStatus status, const std::string& sentence) : DeviceError(sentence), status_(status) {}

    [[nodiscard]] OSStatus status() const {
        return status_;
    }

  private:
    OSStatus status_;
};

/// The reason for an exception: the platform's status, and a sentence that lives as long as the exception.
struct Reason {
    OSStatus status;
    const char* sentence;
};

/// Explains the exception that is being handled: a DeviceError or a lack of memory (errSecAllocate). Any
/// other exception is thrown on. Trouble with the device itself (its folder, its disk, its database) or with
/// the system is also reported on standard error: somebody who gets no more than a status could not find out.
Reason explainException();

/// The platform's error for `reason`; absent if there is no memory for one.
std::optional<NSError> makeError(const Reason& reason);

/// Runs `operation` and returns its status. If it fails, returns the status of the failure.
template <typename Operation>
OSStatus statusOf(Operation operation) {
    try {
        return operation();
    } catch (...) {
        return explainException().status;
    }
}

/// Runs `operation` and returns its result. If it fails, returns null, an absent value, zero or false, and
/// sets `*error` to the reason unless `error` is null.
template <typename Operation>
auto resultOf(std::optional<NSError>* error, Operation operation) -> decltype(operation()) {
    try {
        return operation();
    } catch (...) {
        const Reason reason = explainException();
        if (error != nullptr) {
            *error = makeError(reason);
        }
        return {};
    }
}

}  // namespace KavrelCrypto::Desktop
