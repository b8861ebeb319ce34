#pragma once

#include <climits>
#include <memory>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <string_view>

#include "tools/kavrel/CommandIO.hpp"

/// Owners of OpenSSL's objects, and how they are read and written.
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

/// Reads one object from `text` with `read`, a PEM_read_bio_… function. Returns null if `text` holds no such
/// object or a damaged one. An encrypted one is not read either, and nobody is asked for its pass phrase.
template <typename Owner, auto read>
Owner readPEM(std::string_view text) {
    if (text.size() > INT_MAX) {
        throw CommandError("2 GiB of PEM or more are too much for OpenSSL. Give less.");
    }
    const BIOOwner input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    const auto noPassPhrase = [](char*, int, int, void*) { return -1; };
    return Owner(read(input.get(), nullptr, noPassPhrase, nullptr));
}

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
