#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/Security.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// The kind of key pair that a certification request is for and the digest of its signature, with everything
/// that follows from the two. No property can fail, and the views refer to constants.
class KeyAlgorithm {
  public:
    enum class Signature : std::uint8_t { sha1, sha256, sha512 };

    static constexpr KeyAlgorithm rsa(Signature signatureType) {
        return {Kind::rsa, signatureType};
    }
    static constexpr KeyAlgorithm ec(Signature signatureType) {
        return {Kind::ec, signatureType};
    }

    /// Returns "RSA" or "EC".
    [[nodiscard]] std::string_view type() const;

    /// Returns the value of kSecAttrKeyType for such a key.
    [[nodiscard]] SecConstant secKeyAttrType() const;

    /// Returns the allowed key sizes in bits.
    [[nodiscard]] std::span<const std::int64_t> availableKeySizes() const;

    /// Returns the algorithm of the signature. The platform hashes the message itself.
    [[nodiscard]] SecKeyAlgorithm signatureAlgorithm() const;

    /// Returns the whole AlgorithmIdentifier (RFC 5280) of the signature in DER, with the parameters of RFC
    /// 3279 and RFC 5758. The one of `ec` with `sha1` is malformed, on purpose.
    [[nodiscard]] BytesView signatureAlgorithmIdentifier() const;

    /// Returns what the SEQUENCE of the public key's AlgorithmIdentifier contains in DER: the object
    /// identifier and the parameters (RFC 3279, RFC 5480). It does not depend on the digest.
    [[nodiscard]] BytesView publicKeyAlgorithm() const;

    /// Returns whether the keys are elliptic-curve keys (P-256) and not RSA keys.
    [[nodiscard]] bool isEC() const;

  private:
    enum class Kind : std::uint8_t { rsa, ec };

    constexpr KeyAlgorithm(Kind kind, Signature signatureType) : kind_(kind), signatureType_(signatureType) {}

    Kind kind_;
    Signature signatureType_;
};

}  // namespace KavrelCrypto
