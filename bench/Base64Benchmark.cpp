// Base64 both ways, beside the libraries that people would use instead. Each contender returns a string or
// bytes of its own. mbed TLS is none of them: its own takes the same time for all characters, as a secret key
// needs it.

#include <cstring>
#include <glib.h>
#include <memory>
#include <openssl/evp.h>

#include "bench/Comparison.hpp"
#include "bench/Inputs.hpp"
#include "bench/OpenSSL.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto::Bench {
namespace {

constexpr std::size_t base64Sizes[] = {32, 270, 64 << 10, 1 << 20};

std::size_t encodedSize(const Bytes& bytes) {
    return (bytes.size() + 2) / 3 * 4;
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
                              {"OpenSSL", [bytes] { return OpenSSL::base64(*bytes); }},
                              {"GLib", [bytes] { return encodeWithGLib(*bytes); }}});
        const auto base64 = std::make_shared<const std::string>(base64Encode(*bytes));
        compare<Bytes>("base64, decoding/" + sizeName(size),
                       {{"KavrelCrypto", [base64] { return base64Decode(*base64).value(); }},
                        {"OpenSSL", [base64] { return OpenSSL::fromBase64(*base64); }},
                        {"GLib", [base64] { return decodeWithGLib(*base64); }}});
    }
}

}  // namespace KavrelCrypto::Bench
