#include "tests/desktop/StoredKeys.hpp"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <stdexcept>
#include <vector>

namespace KavrelCrypto::StoredKeys {
namespace {

std::vector<std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)>> keys;
std::atomic<std::size_t> next = 0;

}  // namespace

void make(const std::filesystem::path& file) {
    const std::string generate = "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -quiet";
    if (std::system(("for i in 1 2 3 4 5; do " + generate + " || exit; done >" + file.string()).c_str()) !=
        0) {
        throw std::runtime_error("no keys");
    }
    use(file);
}

void use(const std::filesystem::path& file, std::size_t first) {
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(file.c_str(), "r"), std::fclose);
    if (stream == nullptr) {
        throw std::runtime_error("no file " + file.string());
    }
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
