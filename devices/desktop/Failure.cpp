#include "devices/desktop/Failure.hpp"

#include <cstdio>
#include <new>

namespace KavrelCrypto::Desktop {
namespace {

Reason report(const Reason& reason) {
    static_cast<void>(std::fprintf(stderr, "desktop device: %s\n", reason.sentence));
    return reason;
}

}  // namespace

Reason explainException() {
    try {
        throw;
    } catch (const Failure& failure) {
        const Reason reason{failure.status(), failure.what()};
        switch (reason.status) {
            case errSecIO:
            case errSecDiskFull:
            case errSecInternalComponent:
                return report(reason);
            default:
                return reason;
        }
    } catch (const DeviceError& failure) {
        return report({errSecIO, failure.what()});
    } catch (const std::bad_alloc&) {
        return {errSecAllocate, "There is not enough memory."};
    }
}

std::optional<NSError> makeError(const Reason& reason) {
    try {
        return NSError{.domain = "NSOSStatusErrorDomain",
                       .code = reason.status,
                       .userInfo = {{std::string(NSLocalizedDescriptionKey), reason.sentence}}};
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

}  // namespace KavrelCrypto::Desktop
