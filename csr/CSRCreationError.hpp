#pragma once

#include <cstdint>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {

/// Why a request could not be made. Only `buildFailed` is ever raised; the other two keep their numbers.
enum class CSRCreationError : std::uint8_t { missingPublicKey, signingFailed, buildFailed };

/// The error as the platform's: domain "KavrelCrypto.CSRCreationError", the case's position as the code, no
/// user info, so that its description is the platform's generic sentence.
NSError toNSError(CSRCreationError error);

}  // namespace KavrelCrypto
