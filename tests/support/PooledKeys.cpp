#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <mutex>
#include <openssl/evp.h>
#include <string_view>

extern "C" EVP_PKEY* __real_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...);

namespace {

constexpr std::size_t stockedBits = 2048;

/// An RSA key that is generated when it is first asked for.
class StockedKey {
  public:
    EVP_PKEY* copy() {
        std::call_once(once_,
                       [this] { key_ = __real_EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", stockedBits); });
        return key_ == nullptr ? nullptr : EVP_PKEY_dup(key_);
    }

  private:
    std::once_flag once_;
    EVP_PKEY* key_ = nullptr;
};

}  // namespace

// The linker puts this in the place of OpenSSL's function (--wrap). To generate an RSA key takes a third of a
// second, longer than all the rest of most cases, and they need only that a new key is none of those in use:
// so some take turns.
extern "C" EVP_PKEY* __wrap_EVP_PKEY_Q_keygen(OSSL_LIB_CTX* context, const char* properties, const char* type,
                                              ...) {
    static std::array<StockedKey, 16> stock;
    static std::atomic<std::size_t> taken = 0;

    std::va_list arguments;
    va_start(arguments, type);
    EVP_PKEY* key = nullptr;
    if (std::string_view(type) == "RSA") {
        const auto bits = va_arg(arguments, std::size_t);
        key = bits == stockedBits ? stock[taken++ % stock.size()].copy()
                                  : __real_EVP_PKEY_Q_keygen(context, properties, type, bits);
    } else if (std::string_view(type) == "EC") {
        key = __real_EVP_PKEY_Q_keygen(context, properties, type, va_arg(arguments, const char*));
    } else {
        key = __real_EVP_PKEY_Q_keygen(context, properties, type);
    }
    va_end(arguments);
    return key;
}
