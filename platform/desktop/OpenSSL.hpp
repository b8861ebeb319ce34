#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>

#include "text/Bytes.hpp"

/// OpenSSL's objects with an owner.
namespace KavrelCrypto::Desktop {

template <auto Free>
struct FreeWith {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreeWith<EVP_CIPHER_CTX_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>>;
using PKey = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using X509Certificate = std::unique_ptr<X509, FreeWith<X509_free>>;

/// A second owner of the same key.
PKey share(EVP_PKEY* key);

/// OpenSSL's word for what just failed on this thread; forgets it.
std::string lastOpenSSLError();

/// What an i2d function of OpenSSL writes for `object`; empty when it cannot.
template <typename T>
Bytes encoded(int (*i2d)(const T*, unsigned char**), const T* object) {
    const int length = i2d(object, nullptr);
    Bytes der(length > 0 ? static_cast<std::size_t>(length) : 0);
    unsigned char* end = der.data();
    if (der.empty() || i2d(object, &end) != length) {
        return {};
    }
    return der;
}

}  // namespace KavrelCrypto::Desktop
