#pragma once

#include <memory>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>

/// Owners of OpenSSL's objects.
namespace KavrelCrypto::Host {

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};

using BIOOwner = std::unique_ptr<BIO, Release<&BIO_free_all>>;
using BigNumber = std::unique_ptr<BIGNUM, Release<&BN_free>>;
using PrivateKey = std::unique_ptr<EVP_PKEY, Release<&EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<&X509_free>>;
using CertificationRequest = std::unique_ptr<X509_REQ, Release<&X509_REQ_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Release<&X509_EXTENSION_free>>;

/// What `write` (a function that takes a BIO) writes.
template <typename Write>
std::string written(Write write) {
    const BIOOwner output(BIO_new(BIO_s_mem()));
    write(output.get());
    char* text = nullptr;
    const long length = BIO_get_mem_data(output.get(), &text);
    return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace KavrelCrypto::Host
