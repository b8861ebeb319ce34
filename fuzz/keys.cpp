#include "fuzz/keys.hpp"

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

extern "C" EVP_PKEY* __real_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...);

namespace {

using Stock = std::array<EVP_PKEY*, 6>;

// Shorter than those that the component asks for: a signature takes a tenth of the time, and nobody looks at
// its length.
constexpr std::size_t bits = 512;

std::size_t taken = 0;

Stock madeStock() {
    Stock stock{};
    for (EVP_PKEY*& key : stock) {
        key = __real_EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", bits);
        if (key == nullptr) {
            std::abort();
        }
    }
    return stock;
}

EVP_PKEY* keyInStock(std::size_t number) {
    static const Stock stock = madeStock();
    EVP_PKEY* key = stock[number % stock.size()];
    EVP_PKEY_up_ref(key);
    return key;
}

}  // namespace

// The linker puts this in the place of OpenSSL's function (--wrap).
extern "C" EVP_PKEY* __wrap_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* /*context*/, const char* /*properties*/,
                                              const char* type, ...) {
    std::va_list arguments;
    va_start(arguments, type);
    const auto wanted = va_arg(arguments, std::size_t);
    va_end(arguments);
    if (std::string_view(type) != "RSA" || wanted != 2048) {
        std::abort();  // the component asks for nothing else
    }
    return keyInStock(taken++);
}

namespace KavrelCrypto::Fuzz {

void restartKeys() {
    taken = 0;
}

std::size_t keysTaken() {
    return taken;
}

OpenSSL::Key lastKey() {
    return {keyInStock(taken - 1), EVP_PKEY_free};
}

}  // namespace KavrelCrypto::Fuzz
