#pragma once

#include <algorithm>
#include <climits>
#include <memory>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string>
#include <string_view>

#include "text/Bytes.hpp"
#include "tools/kavrel/CommandIO.hpp"

/// Owners of OpenSSL's objects, and ways to read and write them.
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

/// Reads one object from `text` with `read`, one of OpenSSL's PEM_read_bio_… functions. Returns null if
/// `text` holds no such object, or if it is damaged or encrypted: nobody is asked for a pass phrase. Throws
/// CommandError if `text` is longer than OpenSSL can count.
template <typename Owner, auto read>
Owner readPEM(std::string_view text) {
    if (text.size() > INT_MAX) {
        throw CommandError("the input is too long: OpenSSL cannot read PEM of 2 GiB and more.");
    }
    const BIOOwner input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    const auto noPassPhrase = [](char*, int, int, void*) { return -1; };
    return Owner(read(input.get(), nullptr, noPassPhrase, nullptr));
}

/// Returns the DER of `object` by `encode`, one of OpenSSL's i2d_… functions. Empty if it has none.
template <auto encode, typename T>
Bytes encoded(T* object) {
    Bytes der(static_cast<std::size_t>(std::max(encode(object, nullptr), 0)));
    unsigned char* end = der.data();
    encode(object, &end);
    return der;
}

/// Returns what `write` writes to the BIO that it is given.
template <typename Write>
std::string writeToString(Write write) {
    const BIOOwner output(BIO_new(BIO_s_mem()));
    write(output.get());
    char* text = nullptr;
    const long length = BIO_get_mem_data(output.get(), &text);
    return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace KavrelCrypto::Host
