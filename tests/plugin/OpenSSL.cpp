#include "tests/plugin/OpenSSL.hpp"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>
#include <stdexcept>
#include <string_view>

namespace KavrelCrypto::OpenSSL {
namespace {

void require(bool success) {
    if (!success) {
        throw std::runtime_error(std::string("OpenSSL: ") + ERR_error_string(ERR_get_error(), nullptr));
    }
}

template <typename T>
T* required(T* made) {
    require(made != nullptr);
    return made;
}

Key owned(EVP_PKEY* key) {
    return {required(key), EVP_PKEY_free};
}

std::shared_ptr<X509> parsedCertificate(BytesView der) {
    const unsigned char* position = der.data();
    return {required(d2i_X509(nullptr, &position, static_cast<long>(der.size()))), X509_free};
}

/// Returns what one of OpenSSL's i2d functions writes.
template <typename Write>
Bytes written(Write write) {
    unsigned char* allocated = nullptr;
    const int length = write(&allocated);
    require(length > 0);
    Bytes der(allocated, allocated + length);
    OPENSSL_free(allocated);
    return der;
}

void setCommonName(X509_NAME* name, const std::string& text) {
    require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()), -1, 0) == 1);
}

void setTime(ASN1_TIME* time, const std::string& text) {
    require(ASN1_TIME_set_string_X509(time, text.c_str()) == 1);
}

/// Returns a public key with the modulus of `other`. `type` is OpenSSL's name for its type.
Key withModulusOf(const Key& other, const char* type, unsigned long exponent) {
    BIGNUM* number = nullptr;
    require(EVP_PKEY_get_bn_param(other.get(), OSSL_PKEY_PARAM_RSA_N, &number) == 1);
    const std::shared_ptr<BIGNUM> modulus(number, BN_free);
    const std::shared_ptr<OSSL_PARAM_BLD> builder(required(OSSL_PARAM_BLD_new()), OSSL_PARAM_BLD_free);
    require(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get()) == 1);
    require(OSSL_PARAM_BLD_push_ulong(builder.get(), OSSL_PKEY_PARAM_RSA_E, exponent) == 1);
    const std::shared_ptr<OSSL_PARAM> numbers(required(OSSL_PARAM_BLD_to_param(builder.get())),
                                              OSSL_PARAM_free);
    const std::shared_ptr<EVP_PKEY_CTX> context(required(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr)),
                                                EVP_PKEY_CTX_free);
    require(EVP_PKEY_fromdata_init(context.get()) == 1);
    EVP_PKEY* made = nullptr;
    EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, numbers.get());
    return owned(made);
}

}  // namespace

std::string base64(BytesView bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    return text;
}

Bytes fromBase64(const std::string& text) {
    Bytes bytes(text.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    require(length >= 0);
    // OpenSSL counts the padding as bytes.
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

Key publicKey(const std::string& publicKeyPem) {
    std::string body = publicKeyPem;
    for (const std::string_view marker :
         {"-----BEGIN PUBLIC KEY-----", "-----END PUBLIC KEY-----", "\r", "\n"}) {
        for (std::size_t found = body.find(marker); found != std::string::npos; found = body.find(marker)) {
            body.erase(found, marker.size());
        }
    }
    const Bytes der = fromBase64(body);
    const unsigned char* position = der.data();
    return owned(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &position, static_cast<long>(der.size())));
}

Bytes rsaPublicKey(const Key& key) {
    return written([&](unsigned char** out) { return i2d_PublicKey(key.get(), out); });
}

Bytes subjectPublicKeyInfo(const Key& key) {
    return written([&](unsigned char** out) { return i2d_PUBKEY(key.get(), out); });
}

bool verifies(const Key& key, BytesView message, BytesView signature) {
    const std::shared_ptr<EVP_MD_CTX> context(required(EVP_MD_CTX_new()), EVP_MD_CTX_free);
    require(EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1);
    return EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                            message.size()) == 1;
}

bool verifiesDigest(const Key& key, BytesView digest, BytesView signature) {
    const std::shared_ptr<EVP_PKEY_CTX> context(required(EVP_PKEY_CTX_new(key.get(), nullptr)),
                                                EVP_PKEY_CTX_free);
    require(EVP_PKEY_verify_init(context.get()) == 1);
    require(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1);
    require(EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256()) == 1);
    return EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(), digest.size()) ==
           1;
}

Request parsedRequest(BytesView der) {
    const unsigned char* position = der.data();
    const Request request(d2i_X509_REQ(nullptr, &position, static_cast<long>(der.size())), X509_REQ_free);
    return position == der.data() + der.size() ? request : nullptr;
}

Key authorityKey() {
    // Generated here and not taken from the pool, whose keys the device's may be.
    static const Key key = [] {
        const std::shared_ptr<EVP_PKEY_CTX> context(
            required(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr)), EVP_PKEY_CTX_free);
        EVP_PKEY* made = nullptr;
        require(EVP_PKEY_keygen_init(context.get()) == 1 && EVP_PKEY_generate(context.get(), &made) == 1);
        return owned(made);
    }();
    return key;
}

Key newKey(const char* type) {
    return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, type));
}

Key newECKey(const char* curve) {
    return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", curve));
}

Key newRSAKey(std::size_t bits) {
    return owned(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", bits));
}

Key withExponent(const Key& other, unsigned long exponent) {
    return withModulusOf(other, "RSA", exponent);
}

Key forPSSOnly(const Key& other) {
    return withModulusOf(other, "RSA-PSS", 65537);
}

Bytes certificate(const Key& subjectKey, const CertificateText& text) {
    const std::shared_ptr<X509> made(required(X509_new()), X509_free);
    require(X509_set_version(made.get(), X509_VERSION_3) == 1);
    require(ASN1_INTEGER_set(X509_get_serialNumber(made.get()), 4711) == 1);
    setCommonName(X509_get_subject_name(made.get()), text.subject);
    setCommonName(X509_get_issuer_name(made.get()), text.issuer);
    setTime(X509_getm_notBefore(made.get()), text.notBefore);
    setTime(X509_getm_notAfter(made.get()), text.notAfter);
    require(X509_set_pubkey(made.get(), subjectKey.get()) == 1);
    require(X509_sign(made.get(), authorityKey().get(), EVP_sha256()) > 0);
    return written([&](unsigned char** out) { return i2d_X509(made.get(), out); });
}

Bytes signedPart(BytesView certificate) {
    const std::shared_ptr<X509> parsed = parsedCertificate(certificate);
    return written([&](unsigned char** out) { return i2d_re_X509_tbs(parsed.get(), out); });
}

bool isSignedBy(BytesView certificate, const Key& key) {
    return X509_verify(parsedCertificate(certificate).get(), key.get()) == 1;
}

std::string pem(BytesView der) {
    std::string text = "-----BEGIN CERTIFICATE-----\n";
    const std::string body = base64(der);
    for (std::size_t i = 0; i < body.size(); i += 64) {
        text += body.substr(i, 64) + '\n';
    }
    return text + "-----END CERTIFICATE-----\n";
}

}  // namespace KavrelCrypto::OpenSSL
