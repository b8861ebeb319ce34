#include "csr/CSRCreationError.hpp"

namespace KavrelCrypto {

NSError toNSError(CSRCreationError error) {
    return {.domain = "KavrelCrypto.CSRCreationError", .code = static_cast<std::int64_t>(error)};
}

}  // namespace KavrelCrypto
