#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "csr/KeyAlgorithm.hpp"
#include "platform/Security.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto {

/// A PKCS #10 certification request (RFC 2986): filled once when it is made, then encoded in DER and signed.
/// Also the home of the few DER writers and readers that it needs. One caller at a time; building changes
/// nothing.
class CertificateSigningRequest {
  public:
    /// The subject's texts (UTF-8), the algorithm and the extension flag, each with its default. An absent
    /// text leaves the attribute out of the subject; an empty one is written empty.
    struct Values {
        std::optional<std::string> commonName = std::nullopt;
        std::optional<std::string> serialNumber = std::nullopt;
        std::optional<std::string> organizationName = std::nullopt;
        std::optional<std::string> organizationUnitName = std::nullopt;
        std::optional<std::string> countryName = std::nullopt;
        std::optional<std::string> stateOrProvinceName = std::nullopt;
        std::optional<std::string> localityName = std::nullopt;
        std::optional<std::string> emailAddress = std::nullopt;
        std::optional<std::string> csrDescription = std::nullopt;
        std::optional<KeyAlgorithm> keyAlgorithm = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha512);
        std::optional<std::string> surName = std::nullopt;
        std::optional<std::string> givenName = std::nullopt;
        std::optional<std::string> postalCode = std::nullopt;
        bool includeEkuExtensions = false;
    };

    CertificateSigningRequest();
    explicit CertificateSigningRequest(Values values);

    /// The signed request in DER, or absent when signing fails, when the signature is longer than 256 bytes
    /// or when `publicKey` (which may be null: then nothing is checked) does not verify it. `publicKeyBits`
    /// is the public key's external representation: RSAPublicKey DER (RFC 8017) or the point 04 || X || Y.
    /// May block while the platform asks for authentication.
    [[nodiscard]] std::optional<Bytes> build(BytesView publicKeyBits, const SecKeyRef& privateKey,
                                             const SecKeyRef& publicKey) const;

    /// The CertificationRequestInfo in DER. The name is spelt so and stays so.
    [[nodiscard]] Bytes buldCertificationRequestInfo(BytesView publicKeyBits) const;

    /// The SubjectPublicKeyInfo in DER (RFC 5280). An RSA key that cannot be split gives two empty integers;
    /// an EC key is cut to its first 65 bytes, and a shorter one stops the process, as does an absent
    /// algorithm.
    [[nodiscard]] Bytes buildPublicKeyInfo(BytesView publicKeyBits) const;

    // DER (X.690) on byte strings that the caller owns. A negative length and a read past the end stop the
    // process.

    /// Appends the length octets of `length`, up to 32767. From 32768 on appends nothing, on purpose.
    static void appendDERLength(std::int64_t length, Bytes& out);

    /// Puts `tag` and the length in front of the content of `data`.
    static void enclose(Bytes& data, std::uint8_t tag);

    /// Puts one byte in front of the content of `data`.
    static void prependByte(std::uint8_t byte, Bytes& data);

    /// Appends a BIT STRING. `content` begins with its count of unused bits.
    static void appendBITSTRING(BytesView content, Bytes& out);

    /// Appends a PrintableString: the text in ASCII, "?" where ASCII has no character; the length written is
    /// 0 when there was such a character, on purpose: the component passes digits.
    static void appendPrintableString(const std::string& string, Bytes& out);

    /// Appends the text's UTF-8 bytes under `tag`: UTF8String, or IA5String without a check.
    static void appendUTF8String(const std::string& string, Bytes& out, std::uint8_t tag);

    /// Appends a relative distinguished name of one attribute. `what` is the attribute type's whole OBJECT
    /// IDENTIFIER, 5 or 11 bytes long; of any other length, prints a line and appends nothing.
    static void appendSubjectItem(BytesView what, const std::string& value, Bytes& out, std::uint8_t tag);

    /// The same with a PrintableString.
    static void appendSubjectItemPrintable(BytesView what, const std::string& value, Bytes& out);

    /// Reads the length octets at `index` and moves it past them. 0x80 is the length 128, on purpose.
    static std::int64_t derEncodingGetSizeFrom(BytesView data, std::int64_t& index);

    /// Checks an elliptic-curve point: gives the number of its bytes, and prints a line when it is not of the
    /// uncompressed form. `index` and `numOfBytes` are ignored. Empty data stops the process.
    static std::int64_t derEncodingSpecificSize(BytesView data, std::int64_t index, std::int64_t numOfBytes);

  private:
    /// Splits an RSAPublicKey, in a BIT STRING or not, into views of modulus and exponent, as stored.
    static std::optional<std::pair<BytesView, BytesView>> decodeRSAPublicKeyComponents(BytesView data);

    /// The RSAPublicKey (RFC 8017) in DER, written anew from its parts.
    static Bytes rsaPublicKey(BytesView publicKeyBits);

    [[nodiscard]] std::optional<Bytes> sign(BytesView info, const SecKeyRef& privateKey) const;
    [[nodiscard]] bool verify(BytesView info, BytesView signature, const SecKeyRef& publicKey) const;

    /// The algorithm; stops the process when there is none.
    [[nodiscard]] const KeyAlgorithm& requiredKeyAlgorithm() const;

    const Values values_;
};

}  // namespace KavrelCrypto
