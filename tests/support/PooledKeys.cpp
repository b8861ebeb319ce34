#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <string_view>
#include <unistd.h>
#include <vector>

extern "C" EVP_PKEY* __real_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...);

namespace {

constexpr std::size_t pooledBits = 2048;

/// Reads the keys that the build has generated.
std::vector<EVP_PKEY*> readPool() {
    std::vector<EVP_PKEY*> keys;
    FILE* file = std::fopen(POOLED_KEYS, "r");
    while (EVP_PKEY* key = PEM_read_PrivateKey(file, nullptr, nullptr, nullptr)) {
        keys.push_back(key);
    }
    std::fclose(file);
    return keys;
}

EVP_PKEY* nextOfPool() {
    static const auto& pool = *new std::vector(readPool());  // goes with the process
    // Processes do not all begin with the same key.
    static std::atomic<std::size_t> next = static_cast<std::size_t>(::getpid());
    return EVP_PKEY_dup(pool.at(next++ % pool.size()));
}

}  // namespace

// The linker puts this in the place of OpenSSL's function (--wrap). To generate an RSA key takes a third of a
// second, longer than all the rest of most cases, and they need only that a new key is none of those in use:
// so some take turns.
extern "C" EVP_PKEY* __wrap_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...) {
    std::va_list arguments;
    va_start(arguments, type);
    EVP_PKEY* key = nullptr;
    if (std::string_view(type) == "RSA") {
        const auto bits = va_arg(arguments, std::size_t);
        key = bits == pooledBits ? nextOfPool() : __real_EVP_PKEY_Q_keygen(context, properties, type, bits);
    } else if (std::string_view(type) == "EC") {
        key = __real_EVP_PKEY_Q_keygen(context, properties, type, va_arg(arguments, const char*));
    } else {
        key = __real_EVP_PKEY_Q_keygen(context, properties, type);
    }
    va_end(arguments);
    return key;
}
