#include "csr/CertificateSigningRequest.hpp"

#include <span>
#include <utility>

#include "csr/DERTags.hpp"
#include "platform/Foundation.hpp"

namespace KavrelCrypto {
namespace {

// The attribute types of the subject, each a whole OBJECT IDENTIFIER.
constexpr std::uint8_t objectCommonName[] = {0x06, 0x03, 0x55, 0x04, 0x03};         // 2.5.4.3
constexpr std::uint8_t objectSerialNumber[] = {0x06, 0x03, 0x55, 0x04, 0x05};       // 2.5.4.5
constexpr std::uint8_t objectSurName[] = {0x06, 0x03, 0x55, 0x04, 0x04};            // 2.5.4.4
constexpr std::uint8_t objectGivenName[] = {0x06, 0x03, 0x55, 0x04, 0x2A};          // 2.5.4.42
constexpr std::uint8_t objectCountryName[] = {0x06, 0x03, 0x55, 0x04, 0x06};        // 2.5.4.6
constexpr std::uint8_t objectDescription[] = {0x06, 0x03, 0x55, 0x04, 0x0D};        // 2.5.4.13
constexpr std::uint8_t objectEmailAddress[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,  //
                                               0xF7, 0x0D, 0x01, 0x09, 0x01};       // 1.2.840.113549.1.9.1
constexpr std::uint8_t objectLocalityName[] = {0x06, 0x03, 0x55, 0x04, 0x07};       // 2.5.4.7
constexpr std::uint8_t objectOrganizationName[] = {0x06, 0x03, 0x55, 0x04, 0x0A};   // 2.5.4.10
constexpr std::uint8_t objectOrganizationalUnitName[] = {0x06, 0x03, 0x55, 0x04, 0x0B};  // 2.5.4.11
constexpr std::uint8_t objectStateOrProvinceName[] = {0x06, 0x03, 0x55, 0x04, 0x08};     // 2.5.4.8
constexpr std::uint8_t objectPostalCode[] = {0x06, 0x03, 0x55, 0x04, 0x11};              // 2.5.4.17

constexpr std::uint8_t version0[] = {0x02, 0x01, 0x00};

// [0] attributes, empty
constexpr std::uint8_t noAttributes[] = {0xA0, 0x00};

constexpr std::uint8_t extendedKeyUsageAttributes[] = {
    0xA0, 0x35,                                                              // [0] attributes
    0x30, 0x33,                                                              // Attribute
    0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x0E,        // 1.2.840.113549.1.9.14
    0x31, 0x26,                                                              //   extensionRequest: SET of
    0x30, 0x24,                                                              // Extensions
    0x30, 0x22,                                                              // Extension
    0x06, 0x03, 0x55, 0x1D, 0x25,                                            // 2.5.29.37 extKeyUsage
    0x01, 0x01, 0xFF,                                                        // critical
    0x04, 0x18,                                                              // extnValue
    0x30, 0x16,                                                              // key purposes
    0x06, 0x0A, 0x2B, 0x06, 0x01, 0x04, 0x01, 0x82, 0x37, 0x0A, 0x03, 0x0C,  // document signing
    0x06, 0x08, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02,              // id-kp-clientAuth
};

constexpr std::size_t uncompressedPointSize = 65;
constexpr std::size_t longestSignature = 256;  // RSA of 2048 bits

void appendInteger(BytesView content, Bytes& out) {
    out.push_back(integerTag);
    CertificateSigningRequest::appendDERLength(static_cast<std::int64_t>(content.size()), out);
    append(content, out);
}

void appendPresent(BytesView type, const std::optional<std::string>& value, Bytes& subject,
                   std::uint8_t tag = utf8StringTag) {
    if (value.has_value()) {
        CertificateSigningRequest::appendSubjectItem(type, *value, subject, tag);
    }
}

void appendPresentPrintable(BytesView type, const std::optional<std::string>& value, Bytes& subject) {
    if (value.has_value()) {
        CertificateSigningRequest::appendSubjectItemPrintable(type, *value, subject);
    }
}

/// Returns the subject's Name, with one attribute in each relative distinguished name. The country is a
/// UTF8String on purpose, although X.520 asks for a PrintableString.
Bytes subject(const CertificateSigningRequest::Values& values) {
    Bytes name;
    name.reserve(256);
    appendPresent(objectCountryName, values.countryName, name);
    appendPresent(objectStateOrProvinceName, values.stateOrProvinceName, name);
    appendPresent(objectLocalityName, values.localityName, name);
    appendPresent(objectOrganizationName, values.organizationName, name);
    appendPresent(objectOrganizationalUnitName, values.organizationUnitName, name);
    appendPresent(objectCommonName, values.commonName, name);
    appendPresent(objectSurName, values.surName, name);
    appendPresent(objectGivenName, values.givenName, name);
    appendPresentPrintable(objectSerialNumber, values.serialNumber, name);
    appendPresentPrintable(objectPostalCode, values.postalCode, name);
    appendPresent(objectEmailAddress, values.emailAddress, name, ia5StringTag);
    appendPresent(objectDescription, values.csrDescription, name);
    CertificateSigningRequest::enclose(name, sequenceTag);
    return name;
}

Bytes pointOf(BytesView publicKeyBits) {
    static_cast<void>(CertificateSigningRequest::derEncodingSpecificSize(publicKeyBits, 0, 0));
    if (publicKeyBits.size() < uncompressedPointSize) {
        fatalError("an elliptic-curve public key must have at least 65 bytes");
    }
    const BytesView point = publicKeyBits.first(uncompressedPointSize);
    return {point.begin(), point.end()};
}

}  // namespace

CertificateSigningRequest::CertificateSigningRequest() : CertificateSigningRequest(Values{}) {}

CertificateSigningRequest::CertificateSigningRequest(Values values) : values_(std::move(values)) {}

const KeyAlgorithm& CertificateSigningRequest::keyAlgorithm() const {
    if (!values_.keyAlgorithm.has_value()) {
        fatalError("a certification request must have a key algorithm");
    }
    return *values_.keyAlgorithm;
}

Bytes CertificateSigningRequest::rsaPublicKey(BytesView publicKeyBits) {
    // On purpose, a key that cannot be split becomes two empty integers.
    const auto [modulus, exponent] =
        decodeRSAPublicKeyComponents(publicKeyBits).value_or(std::pair<BytesView, BytesView>());
    Bytes key;
    key.reserve(publicKeyBits.size() + 16);
    appendInteger(modulus, key);
    appendInteger(exponent, key);
    enclose(key, sequenceTag);
    return key;
}

Bytes CertificateSigningRequest::buildPublicKeyInfo(BytesView publicKeyBits) const {
    const KeyAlgorithm& algorithm = keyAlgorithm();
    Bytes info;
    info.reserve(390);
    append(algorithm.publicKeyAlgorithm(), info);
    enclose(info, sequenceTag);

    Bytes key = algorithm.isEC() ? pointOf(publicKeyBits) : rsaPublicKey(publicKeyBits);
    prependByte(0x00, key);  // no unused bits
    appendBITSTRING(key, info);
    enclose(info, sequenceTag);
    return info;
}

Bytes CertificateSigningRequest::buldCertificationRequestInfo(BytesView publicKeyBits) const {
    const Bytes name = subject(values_);
    const Bytes publicKeyInfo = buildPublicKeyInfo(publicKeyBits);
    Bytes info;
    info.reserve(name.size() + publicKeyInfo.size() + 64);
    append(version0, info);
    append(name, info);
    append(publicKeyInfo, info);
    append(values_.includeEkuExtensions ? BytesView(extendedKeyUsageAttributes) : BytesView(noAttributes),
           info);
    enclose(info, sequenceTag);
    return info;
}

std::optional<Bytes> CertificateSigningRequest::build(BytesView publicKeyBits, const SecKeyRef& privateKey,
                                                      const SecKeyRef& publicKey) const {
    const Bytes info = buldCertificationRequestInfo(publicKeyBits);
    const KeyAlgorithm& algorithm = keyAlgorithm();
    const std::optional<Bytes> signature = sign(info, privateKey);
    if (!signature.has_value() || signature->size() > longestSignature ||
        (publicKey != nullptr && !verify(info, *signature, publicKey))) {
        return std::nullopt;
    }

    Bytes request;
    request.reserve(1024);
    append(info, request);
    append(algorithm.signatureAlgorithmIdentifier(), request);
    Bytes signatureBits;
    signatureBits.reserve(longestSignature + 1);
    signatureBits.push_back(0x00);  // no unused bits
    append(*signature, signatureBits);
    appendBITSTRING(signatureBits, request);
    enclose(request, sequenceTag);
    return request;
}

std::optional<Bytes> CertificateSigningRequest::sign(BytesView info, const SecKeyRef& privateKey) const {
    std::optional<NSError> error;
    std::optional<Bytes> signature =
        SecKeyCreateSignature(privateKey, keyAlgorithm().signatureAlgorithm(), info, &error);
    if (!signature.has_value() && error.has_value()) {
        print("Error in creating signature: " + error->description());
    }
    return signature;
}

bool CertificateSigningRequest::verify(BytesView info, BytesView signature,
                                       const SecKeyRef& publicKey) const {
    std::optional<NSError> error;
    const bool verified =
        SecKeyVerifySignature(publicKey, keyAlgorithm().signatureAlgorithm(), info, signature, &error);
    if (!verified && error.has_value()) {
        print(error->description());
    }
    return verified;
}

}  // namespace KavrelCrypto
