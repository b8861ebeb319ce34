#include "devices/desktop/Sealing.hpp"

#include <openssl/err.h>
#include <openssl/rand.h>
#include <span>

#include "devices/desktop/OpenSSL.hpp"

namespace KavrelCrypto::Desktop {
namespace {

constexpr std::size_t nonceLength = 12;
constexpr std::size_t tagLength = 16;

/// Throws unless OpenSSL did what it was asked.
void require(bool success) {
    if (!success) {
        throw openSSLFailure(errSecInternalComponent, "A secret cannot be sealed or opened.");
    }
}

void fillAtRandom(std::span<std::uint8_t> bytes) {
    require(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1);
}

CipherContext makeContext() {
    CipherContext context(EVP_CIPHER_CTX_new());
    require(context != nullptr);
    return context;
}

}  // namespace

SealingKey makeSealingKey() {
    SealingKey key{};
    fillAtRandom(key);
    return key;
}

Bytes seal(const SealingKey& key, BytesView secret, BytesView identity) {
    const int secretSize = intSize(secret);
    const int identitySize = intSize(identity);
    Bytes sealed(nonceLength + secret.size() + tagLength);
    fillAtRandom(std::span(sealed).first(nonceLength));
    std::uint8_t* const ciphertext = sealed.data() + nonceLength;
    std::uint8_t* const tag = ciphertext + secret.size();
    const CipherContext context = makeContext();
    int written = 0;
    require(EVP_EncryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), sealed.data(), nullptr) == 1 &&
            EVP_EncryptUpdate(context.get(), nullptr, &written, identity.data(), identitySize) == 1 &&
            EVP_EncryptUpdate(context.get(), ciphertext, &written, secret.data(), secretSize) == 1 &&
            EVP_EncryptFinal_ex(context.get(), tag, &written) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, int{tagLength}, tag) == 1);
    return sealed;
}

std::optional<Bytes> unseal(const SealingKey& key, BytesView sealed, BytesView identity) {
    if (sealed.size() < nonceLength + tagLength) {
        return std::nullopt;
    }
    const BytesView ciphertext = sealed.subspan(nonceLength, sealed.size() - nonceLength - tagLength);
    Bytes tag(sealed.end() - tagLength, sealed.end());
    // One byte more than needed, so that there is an address to write to when the secret is empty.
    Bytes secret(ciphertext.size() + 1);
    const CipherContext context = makeContext();
    int written = 0;
    require(EVP_DecryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), sealed.data(), nullptr) == 1 &&
            EVP_DecryptUpdate(context.get(), nullptr, &written, identity.data(), intSize(identity)) == 1 &&
            EVP_DecryptUpdate(context.get(), secret.data(), &written, ciphertext.data(),
                              intSize(ciphertext)) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, int{tagLength}, tag.data()) == 1);
    if (EVP_DecryptFinal_ex(context.get(), secret.data() + ciphertext.size(), &written) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    secret.resize(ciphertext.size());
    return secret;
}

}  // namespace KavrelCrypto::Desktop
