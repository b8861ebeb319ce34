#pragma once

#include <cstddef>
#include <random>
#include <string>

#include "plugin/UserInfo.hpp"
#include "text/Bytes.hpp"

/// What the benchmarks work on.
namespace KavrelCrypto::Bench {

/// Returns `size` bytes, the same ones each time.
inline Bytes someBytes(std::size_t size) {
    std::mt19937 random(1);
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

inline std::string sizeName(std::size_t size) {
    if (size < 1024) {
        return std::to_string(size) + " B";
    }
    return size < (1U << 20U) ? std::to_string(size >> 10U) + " KiB" : std::to_string(size >> 20U) + " MiB";
}

inline UserInfo sara() {
    return {.identificationId = "1",
            .nationalCode = "0012345678",
            .name = "سارا",
            .lastName = "احمدی",
            .enName = "Sara",
            .enLastName = "Ahmadi",
            .postalCode = "7134567890",
            .phoneNumber = "09120000000",
            .birthCertificateId = "0012345678",
            .birthDate = "1370-01-01",
            .city = "شیراز",
            .provinceName = "فارس",
            .gender = "female",
            .citizenship = "Iranian"};
}

}  // namespace KavrelCrypto::Bench
