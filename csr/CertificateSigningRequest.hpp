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

/// A PKCS #10 certification request (RFC 2986), with the few DER writers and readers that it needs. It is
/// filled when it is made and never changes, so it can be built any number of times; each build signs anew.
class CertificateSigningRequest {
  public:
    /// The subject's strings (UTF-8), the algorithm, and whether the request asks for the extended key
    /// usages. An absent string leaves its attribute out of the subject; an empty one is written as it is.
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

    /// Returns the signed request in DER. Absent if signing fails, if the signature is longer than 256 bytes,
    /// or if `publicKey` does not verify it; nothing is verified if `publicKey` is null. `publicKeyBits` is
    /// the public key's external representation: an RSAPublicKey (RFC 8017) in DER or an uncompressed point
    /// (X9.62). Stops the process if there is no key algorithm. May block while the platform authenticates
    /// the person.
    [[nodiscard]] std::optional<Bytes> build(BytesView publicKeyBits, const SecKeyRef& privateKey,
                                             const SecKeyRef& publicKey) const;

    /// Returns the CertificationRequestInfo in DER. The name is spelt like this on purpose.
    [[nodiscard]] Bytes buldCertificationRequestInfo(BytesView publicKeyBits) const;

    /// Returns the SubjectPublicKeyInfo (RFC 5280) in DER. An RSA key that cannot be split is written as two
    /// empty integers, and an elliptic-curve key is cut to its first 65 bytes. Stops the process if there are
    /// fewer, or if there is no key algorithm.
    [[nodiscard]] Bytes buildPublicKeyInfo(BytesView publicKeyBits) const;

    // Writers and readers of DER (X.690). "On purpose" refers to "Fixed contract" in docs/design.md: the
    // bytes are fixed for every input.

    /// Appends the length octets of `length`. From 32768 on it appends nothing, on purpose. Stops the process
    /// if `length` is negative.
    static void appendDERLength(std::int64_t length, Bytes& out);

    /// Puts `tag` and the length of `data` in front of `data`.
    static void enclose(Bytes& data, std::uint8_t tag);

    /// Puts `byte` in front of `data`.
    static void prependByte(std::uint8_t byte, Bytes& data);

    /// Appends a BIT STRING. `content` begins with the number of unused bits.
    static void appendBITSTRING(BytesView content, Bytes& out);

    /// Appends a PrintableString: `string` in ASCII, with one "?" for each character that is not in ASCII. If
    /// there is such a character, the length that is written is 0, on purpose.
    static void appendPrintableString(const std::string& string, Bytes& out);

    /// Appends the UTF-8 bytes of `string` with `tag`, which is UTF8String's or IA5String's. Whether they are
    /// ASCII is not checked.
    static void appendUTF8String(const std::string& string, Bytes& out, std::uint8_t tag);

    /// Appends a relative distinguished name with one attribute. `what` is the whole OBJECT IDENTIFIER of the
    /// attribute type. If it does not have 5 or 11 bytes, prints a line and appends nothing.
    static void appendSubjectItem(BytesView what, const std::string& value, Bytes& out, std::uint8_t tag);

    /// Does the same with a PrintableString.
    static void appendSubjectItemPrintable(BytesView what, const std::string& value, Bytes& out);

    /// Reads the length octets at `index`, advances `index` past them, and returns the length. 0x80 is the
    /// length 128, on purpose. Stops the process if the octets do not lie within the data or overflow 63
    /// bits.
    static std::int64_t derEncodingGetSizeFrom(BytesView data, std::int64_t& index);

    /// Returns the number of bytes of an elliptic-curve point, and prints a line if the point is not
    /// uncompressed. `index` and `numOfBytes` are ignored. Stops the process if `data` is empty.
    static std::int64_t derEncodingSpecificSize(BytesView data, std::int64_t index, std::int64_t numOfBytes);

  private:
    /// Splits an RSAPublicKey, which may be wrapped in a BIT STRING, into its modulus and its exponent. They
    /// are views of `data`. Absent if `data` is malformed; stops the process if a length in it is cut off or
    /// overflows.
    static std::optional<std::pair<BytesView, BytesView>> decodeRSAPublicKeyComponents(BytesView data);

    /// Returns the RSAPublicKey (RFC 8017) in DER, written anew from its parts.
    static Bytes rsaPublicKey(BytesView publicKeyBits);

    [[nodiscard]] std::optional<Bytes> sign(BytesView info, const SecKeyRef& privateKey) const;
    [[nodiscard]] bool verify(BytesView info, BytesView signature, const SecKeyRef& publicKey) const;

    /// Returns the key algorithm. Stops the process if there is none.
    [[nodiscard]] const KeyAlgorithm& keyAlgorithm() const;

    const Values values_;
};

}  // namespace KavrelCrypto
