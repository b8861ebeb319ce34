#include "csr/CSRCreationError.hpp"

namespace KavrelCrypto {

NSError platformError(CSRCreationError error) {
    return {.domain = "KavrelCrypto.CSRCreationError", .code = static_cast<std::int64_t>(error)};
}

}  // namespace KavrelCrypto
