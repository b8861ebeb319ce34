// Base64 both ways, beside the libraries that people would use instead. Each contender returns a string or
// bytes of its own.

#include <botan/base64.h>
#include <cstring>
#include <glib.h>
#include <mbedtls/base64.h>
#include <memory>
#include <openssl/evp.h>

#include "bench/Comparison.hpp"
#include "bench/Inputs.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr std::size_t base64Sizes[] = {32, 270, 64 << 10, 1 << 20};

std::size_t encodedSize(const Bytes& bytes) {
    return (bytes.size() + 2) / 3 * 4;
}

std::size_t paddingLength(const std::string& base64) {
    return base64.ends_with("==") ? 2 : base64.ends_with('=') ? 1 : 0;
}

const unsigned char* unsignedBytes(const std::string& string) {
    return reinterpret_cast<const unsigned char*>(string.data());
}

unsigned char* unsignedBytes(std::string& string) {
    return reinterpret_cast<unsigned char*>(string.data());
}

std::string encodeWithOpenSSL(const Bytes& bytes) {
    std::string base64(encodedSize(bytes), '\0');  // the null at its end has a place of its own
    EVP_EncodeBlock(unsignedBytes(base64), bytes.data(), static_cast<int>(bytes.size()));
    return base64;
}

Bytes decodeWithOpenSSL(const std::string& base64) {
    Bytes bytes(base64.size() / 4 * 3);
    if (EVP_DecodeBlock(bytes.data(), unsignedBytes(base64), static_cast<int>(base64.size())) < 0) {
        return {};
    }
    bytes.resize(bytes.size() - paddingLength(base64));  // which OpenSSL leaves in
    return bytes;
}

std::string encodeWithBotan(const Bytes& bytes) {
    return Botan::base64_encode(bytes.data(), bytes.size());
}

Bytes decodeWithBotan(const std::string& base64) {
    Bytes bytes(base64.size() / 4 * 3);
    bytes.resize(Botan::base64_decode(bytes.data(), base64, false));
    return bytes;
}

std::string encodeWithMbedTLS(const Bytes& bytes) {
    std::string base64(encodedSize(bytes) + 1, '\0');
    std::size_t length = 0;
    mbedtls_base64_encode(unsignedBytes(base64), base64.size(), &length, bytes.data(), bytes.size());
    base64.resize(length);
    return base64;
}

Bytes decodeWithMbedTLS(const std::string& base64) {
    Bytes bytes(base64.size() / 4 * 3);
    std::size_t length = 0;
    mbedtls_base64_decode(bytes.data(), bytes.size(), &length, unsignedBytes(base64), base64.size());
    bytes.resize(length);
    return bytes;
}

std::string encodeWithGLib(const Bytes& bytes) {
    std::string base64(encodedSize(bytes) + 4, '\0');
    gint state = 0;
    gint save = 0;
    gsize length = g_base64_encode_step(bytes.data(), bytes.size(), FALSE, base64.data(), &state, &save);
    length += g_base64_encode_close(FALSE, base64.data() + length, &state, &save);
    base64.resize(length);
    return base64;
}

Bytes decodeWithGLib(const std::string& base64) {
    Bytes bytes(base64.size() / 4 * 3 + 3);
    gint state = 0;
    guint save = 0;
    bytes.resize(g_base64_decode_step(base64.data(), base64.size(), bytes.data(), &state, &save));
    return bytes;
}

}  // namespace

void addBase64() {
    for (const std::size_t size : base64Sizes) {
        const auto bytes = std::make_shared<const Bytes>(someBytes(size));
        compare<std::string>("base64, encoding/" + sizeName(size),
                             {{"KavrelCrypto", [bytes] { return base64Encode(*bytes); }},
                              {"OpenSSL", [bytes] { return encodeWithOpenSSL(*bytes); }},
                              {"Botan", [bytes] { return encodeWithBotan(*bytes); }},
                              {"mbed TLS", [bytes] { return encodeWithMbedTLS(*bytes); }},
                              {"GLib", [bytes] { return encodeWithGLib(*bytes); }}});
        const auto base64 = std::make_shared<const std::string>(base64Encode(*bytes));
        compare<Bytes>("base64, decoding/" + sizeName(size),
                       {{"KavrelCrypto", [base64] { return base64Decode(*base64).value(); }},
                        {"OpenSSL", [base64] { return decodeWithOpenSSL(*base64); }},
                        {"Botan", [base64] { return decodeWithBotan(*base64); }},
                        {"mbed TLS", [base64] { return decodeWithMbedTLS(*base64); }},
                        {"GLib", [base64] { return decodeWithGLib(*base64); }}});
    }
}

}  // namespace KavrelCrypto::Bench
