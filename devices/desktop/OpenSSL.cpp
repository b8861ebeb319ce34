#include "devices/desktop/OpenSSL.hpp"

#include <climits>
#include <new>
#include <openssl/err.h>

namespace KavrelCrypto::Desktop {

PKey share(EVP_PKEY* key) {
    EVP_PKEY_up_ref(key);
    return PKey(key);
}

Failure openSSLFailure(OSStatus status, std::string sentence) {
    const char* reason = "no reason given";
    while (const unsigned long error = ERR_get_error()) {
        if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
            ERR_clear_error();
            throw std::bad_alloc();
        }
        if (const char* text = ERR_reason_error_string(error)) {
            reason = text;  // the last one says the most
        }
    }
    sentence.insert(sentence.size() - 1, std::string(" (") + reason + ")");
    return {status, sentence};
}

int intSize(BytesView bytes) {
    if (bytes.size() > INT_MAX) {
        throw Failure(errSecParam, "A value of 2 GiB or more is too large for this device.");
    }
    return static_cast<int>(bytes.size());
}

}  // namespace KavrelCrypto::Desktop
