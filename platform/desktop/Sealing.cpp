#include "platform/desktop/Sealing.hpp"

#include <new>
#include <openssl/rand.h>

#include "platform/Foundation.hpp"
#include "platform/desktop/OpenSSL.hpp"

namespace KavrelCrypto::Desktop {
namespace {

constexpr std::size_t nonceLength = 12;
constexpr std::size_t tagLength = 16;

CipherContext makeContext() {
    CipherContext context(EVP_CIPHER_CTX_new());
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    return context;
}

int intLength(BytesView bytes) {
    return static_cast<int>(bytes.size());
}

}  // namespace

Bytes randomBytes(std::size_t length) {
    Bytes bytes(length);
    if (RAND_bytes(bytes.data(), static_cast<int>(length)) != 1) {
        fatalError("the system must give random bytes");
    }
    return bytes;
}

Bytes seal(BytesView key, BytesView secret, BytesView identity) {
    Bytes sealed = randomBytes(nonceLength);
    sealed.resize(nonceLength + secret.size() + tagLength);
    std::uint8_t* const ciphertext = sealed.data() + nonceLength;
    const CipherContext context = makeContext();
    int written = 0;
    if (key.size() != sealingKeyLength ||
        EVP_EncryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), sealed.data(), nullptr) != 1 ||
        EVP_EncryptUpdate(context.get(), nullptr, &written, identity.data(), intLength(identity)) != 1 ||
        EVP_EncryptUpdate(context.get(), ciphertext, &written, secret.data(), intLength(secret)) != 1 ||
        EVP_EncryptFinal_ex(context.get(), ciphertext + secret.size(), &written) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(tagLength),
                            ciphertext + secret.size()) != 1) {
        fatalError("AES-256-GCM must seal under a key of 32 bytes");
    }
    return sealed;
}

std::optional<Bytes> unseal(BytesView key, BytesView sealed, BytesView identity) {
    if (key.size() != sealingKeyLength || sealed.size() < nonceLength + tagLength) {
        return std::nullopt;
    }
    const BytesView ciphertext = sealed.subspan(nonceLength, sealed.size() - nonceLength - tagLength);
    Bytes tag(sealed.end() - tagLength, sealed.end());
    // One byte more than needed, so that there is an address to write to when the secret is empty.
    Bytes secret(ciphertext.size() + 1);
    const CipherContext context = makeContext();
    int written = 0;
    const bool genuine =
        EVP_DecryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.data(), sealed.data(), nullptr) == 1 &&
        EVP_DecryptUpdate(context.get(), nullptr, &written, identity.data(), intLength(identity)) == 1 &&
        EVP_DecryptUpdate(context.get(), secret.data(), &written, ciphertext.data(), intLength(ciphertext)) ==
            1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tagLength), tag.data()) ==
            1 &&
        EVP_DecryptFinal_ex(context.get(), secret.data() + ciphertext.size(), &written) == 1;
    if (!genuine) {
        lastOpenSSLError();
        return std::nullopt;
    }
    secret.resize(ciphertext.size());
    return secret;
}

}  // namespace KavrelCrypto::Desktop
