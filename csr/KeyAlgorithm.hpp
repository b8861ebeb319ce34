#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/Security.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// The kind of key pair of a certification request and the digest of its signature, with everything that
/// follows from the two. Every property is a lookup that cannot fail; the views refer to constants.
class KeyAlgorithm {
  public:
    enum class Signature : std::uint8_t { sha1, sha256, sha512 };

    static constexpr KeyAlgorithm rsa(Signature signatureType) {
        return {Kind::rsa, signatureType};
    }
    static constexpr KeyAlgorithm ec(Signature signatureType) {
        return {Kind::ec, signatureType};
    }

    /// "RSA" or "EC".
    [[nodiscard]] std::string_view type() const;

    /// The key type under which the keychain keeps such a key.
    [[nodiscard]] SecConstant secKeyAttrType() const;

    /// The key sizes allowed, in bits.
    [[nodiscard]] std::span<const std::int64_t> availableKeySizes() const;

    /// The algorithm that signs: the platform hashes the message itself.
    [[nodiscard]] SecKeyAlgorithm signatureAlgorithm() const;

    /// The AlgorithmIdentifier of the request's signature, whole, in DER (RFC 5280; RFC 3279 and RFC 5758 for
    /// the parameters). That of `ec` with `sha1` is malformed, on purpose.
    [[nodiscard]] BytesView signatureAlgorithmIdentifier() const;

    /// The AlgorithmIdentifier's content in the SubjectPublicKeyInfo: object identifier and parameters, in
    /// DER (RFC 3279, RFC 5480), without the SEQUENCE around them. It does not depend on the digest.
    [[nodiscard]] BytesView publicKeyAlgorithm() const;

    /// Whether the keys are elliptic-curve keys (P-256); otherwise they are RSA keys.
    [[nodiscard]] bool isEC() const;

  private:
    enum class Kind : std::uint8_t { rsa, ec };

    constexpr KeyAlgorithm(Kind kind, Signature signatureType) : kind_(kind), signatureType_(signatureType) {}

    Kind kind_;
    Signature signatureType_;
};

}  // namespace KavrelCrypto
