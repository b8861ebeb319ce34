#include "platform/desktop/Failure.hpp"

#include <cstdio>

namespace KavrelCrypto::Desktop {

NSError reported(const DeviceError& failure) {
    const auto* known = dynamic_cast<const Failure*>(&failure);
    const OSStatus status = known != nullptr ? known->status() : errSecIO;
    if (status == errSecIO || status == errSecDiskFull) {
        static_cast<void>(std::fprintf(stderr, "desktop device: %s\n", failure.what()));
    }
    return {.domain = "NSOSStatusErrorDomain",
            .code = status,
            .userInfo = {{std::string(NSLocalizedDescriptionKey), failure.what()}}};
}

}  // namespace KavrelCrypto::Desktop
