#include "tests/desktop/StoredKeys.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <vector>

namespace KavrelCrypto::StoredKeys {
namespace {

constexpr int count = 5;

using Key = std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>;

std::vector<Key> keys;
std::atomic<std::size_t> next = 0;

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

Stream open(const std::filesystem::path& file, const char* mode) {
    Stream stream(std::fopen(file.c_str(), mode), std::fclose);
    if (stream == nullptr) {
        throw std::runtime_error("no file " + file.string());
    }
    return stream;
}

Key generate() {
    EVP_PKEY* key = nullptr;
    const std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)> context(
        EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr), EVP_PKEY_CTX_free);
    if (EVP_PKEY_keygen_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), 2048) <= 0 ||
        EVP_PKEY_generate(context.get(), &key) <= 0) {
        throw std::runtime_error("no key");
    }
    return {key, EVP_PKEY_free};
}

}  // namespace

void make(const std::filesystem::path& file) {
    const Stream stream = open(file, "w");
    for (int i = 0; i < count; ++i) {
        PEM_write_PrivateKey(stream.get(), generate().get(), nullptr, nullptr, 0, nullptr, nullptr);
    }
}

void use(const std::filesystem::path& file, std::size_t first) {
    const Stream stream = open(file, "r");
    keys.clear();
    while (EVP_PKEY* key = PEM_read_PrivateKey(stream.get(), nullptr, nullptr, nullptr)) {
        keys.emplace_back(key, EVP_PKEY_free);
    }
    next = first;
}

}  // namespace KavrelCrypto::StoredKeys

/// In the place of OpenSSL's.
extern "C" EVP_PKEY* EVP_PKEY_Q_keygen(OSSL_LIB_CTX*, const char*, const char*, ...) {
    using namespace KavrelCrypto::StoredKeys;
    return EVP_PKEY_dup(keys.at(next++ % keys.size()).get());
}
