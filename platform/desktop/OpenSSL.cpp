#include "platform/desktop/OpenSSL.hpp"

#include <openssl/err.h>

namespace KavrelCrypto::Desktop {

PKey share(EVP_PKEY* key) {
    EVP_PKEY_up_ref(key);
    return PKey(key);
}

std::string lastOpenSSLError() {
    const char* reason = ERR_reason_error_string(ERR_peek_last_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "no reason given";
}

}  // namespace KavrelCrypto::Desktop
