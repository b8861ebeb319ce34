#pragma once

#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>

#include "devices/desktop/Failure.hpp"
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

/// Frees what OpenSSL has allocated for its caller.
inline void freeBytes(unsigned char* bytes) {
    OPENSSL_free(bytes);
}

/// Returns a second owner of the same key.
PKey share(EVP_PKEY* key);

/// Returns the Failure for what OpenSSL has just refused on this thread: `status`, and `sentence` with
/// OpenSSL's reason in brackets before its full stop. Throws std::bad_alloc if the reason is a lack of
/// memory. Either way OpenSSL's errors are cleared.
Failure openSSLFailure(OSStatus status, std::string sentence);

/// Returns the size of `bytes` for a function of OpenSSL's that counts in int. Throws a Failure (errSecParam)
/// if they are 2 GiB or more.
int intSize(BytesView bytes);

/// Returns what an i2d function of OpenSSL's writes for `object`. Throws a Failure if it cannot.
template <typename T>
Bytes encode(int (*i2d)(const T*, unsigned char**), const T* object) {
    unsigned char* allocated = nullptr;
    // In one go: asked twice, OpenSSL may choose two encodings of different sizes when memory runs out.
    const int length = i2d(object, &allocated);
    const std::unique_ptr<unsigned char, FreeWith<freeBytes>> owner(allocated);
    if (length <= 0) {
        throw openSSLFailure(errSecInternalComponent, "The key cannot be encoded.");
    }
    return {allocated, allocated + length};
}

}  // namespace KavrelCrypto::Desktop
