#pragma once

#include <cstdint>

#include "platform/Foundation.hpp"

namespace KavrelCrypto {

/// Why a request could not be built, numbered by the codes. Only `buildFailed` is ever raised; the other two
/// are there for its number.
enum class CSRCreationError : std::uint8_t { missingPublicKey, signingFailed, buildFailed };

/// Returns `error` with the domain "KavrelCrypto.CSRCreationError" and its number as the code. It has no user
/// info, so its description is the platform's generic sentence.
NSError toNSError(CSRCreationError error);

}  // namespace KavrelCrypto
