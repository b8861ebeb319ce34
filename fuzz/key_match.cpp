// The key match over certificates of any kind: the key that it compares with is, byte for byte, the one that
// stands in the certificate.

#include <optional>
#include <string>

#include "fuzz/check.hpp"
#include "platform/Security.hpp"
#include "storage/CSRStorage.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;

constexpr std::uint8_t sequence = 0x30;
constexpr std::uint8_t bitString = 0x03;

struct Element {
    std::uint8_t tag = 0;
    BytesView content;
};

/// Takes the element in front off `data`, which is DER with small tags. Absent if there is none.
std::optional<Element> takeElement(BytesView& data) {
    if (data.size() < 2) {
        return std::nullopt;
    }
    const std::size_t octets = data[1] < 0x80 ? 0 : data[1] - 0x80U;
    if (octets > 4 || data.size() < 2 + octets) {
        return std::nullopt;
    }
    std::size_t length = octets == 0 ? data[1] : 0;
    for (std::size_t i = 0; i < octets; ++i) {
        length = length << 8 | data[2 + i];
    }
    const BytesView behind = data.subspan(2 + octets);
    if (length > behind.size()) {
        return std::nullopt;
    }
    const Element element{data[0], behind.first(length)};
    data = behind.subspan(length);
    return element;
}

/// Returns the bits of the certificate's subjectPublicKey (RFC 5280, section 4.1): the seventh element of the
/// signed part is the SubjectPublicKeyInfo, and if the version, [0], is left out, the sixth.
std::optional<BytesView> subjectPublicKey(BytesView certificate) {
    const std::optional<Element> whole = takeElement(certificate);
    BytesView rest = whole ? whole->content : BytesView();
    const std::optional<Element> signedPart = takeElement(rest);
    rest = signedPart ? signedPart->content : BytesView();
    std::optional<Element> element = takeElement(rest);
    for (int left = element && element->tag == 0xA0 ? 6 : 5; left > 0; --left) {
        element = takeElement(rest);
    }
    rest = element && element->tag == sequence ? element->content : BytesView();
    takeElement(rest);
    const std::optional<Element> key = takeElement(rest);
    if (!key || key->tag != bitString || key->content.empty()) {
        return std::nullopt;
    }
    return key->content.subspan(1);
}

/// Returns the export of the key that the device finds in the certificate that `data` begins with.
std::optional<Bytes> keyOnTheDevice(BytesView data) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(data);
    if (certificate == nullptr) {
        return std::nullopt;
    }
    SecTrustRef trust;
    check(SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust) == errSecSuccess,
          "a certificate has a trust object");
    const SecKeyRef key = SecTrustCopyKey(trust);
    if (key == nullptr) {
        return std::nullopt;
    }
    const std::optional<Bytes> exported = SecKeyCopyExternalRepresentation(key, nullptr);
    check(exported.has_value(), "a key of a certificate can be exported");
    check(SecKeyGetBlockSize(key) > 0, "a key of a certificate has a block size");
    return exported;
}

bool isRSA(BytesView exported) {
    return exported.front() == sequence;
}

/// Checks that `exported` is what stands in the certificate. A point may stand there in its compressed form,
/// which begins with 02 or 03 and leaves Y out, or with 06 or 07 in place of 04.
void checkIsTheKeyIn(BytesView certificate, BytesView exported) {
    const std::optional<BytesView> written = subjectPublicKey(certificate);
    check(written.has_value() && !written->empty(), "a certificate with a key has it where it belongs");
    const auto sameBytes = [&](std::size_t from, std::size_t count) {
        return written->size() >= from + count &&
               std::equal(exported.begin() + static_cast<std::ptrdiff_t>(from),
                          exported.begin() + static_cast<std::ptrdiff_t>(from + count),
                          written->begin() + static_cast<std::ptrdiff_t>(from));
    };
    if (isRSA(exported)) {
        check(written->size() == exported.size() && sameBytes(0, exported.size()),
              "an RSA key is the written one");
        return;
    }
    const bool isCompressed = written->front() == 0x02 || written->front() == 0x03;
    check(exported.front() == 0x04, "a point is exported uncompressed");
    check(written->size() == (isCompressed ? (exported.size() + 1) / 2 : exported.size()),
          "a point has its size");
    check(sameBytes(1, written->size() - 1), "a point is the written one");
}

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    const BytesView certificate(data, size);
    const std::string text = base64Encode(certificate);
    const std::optional<Bytes> key = keyOnTheDevice(certificate);
    check(!CSRStorage::verifyCertificateMatchesKey(text, {}), "no certificate matches the absence of a key");
    if (!key) {
        const std::optional<BytesView> written = subjectPublicKey(certificate);
        check(!written || !CSRStorage::verifyCertificateMatchesKey(text, *written),
              "without a key nothing matches");
        return 0;
    }
    checkIsTheKeyIn(certificate, *key);
    check(CSRStorage::verifyCertificateMatchesKey(text, *key), "a certificate matches its key");
    Bytes other = *key;
    other[(size + other.size() / 2) % other.size()] ^= 1;
    check(!CSRStorage::verifyCertificateMatchesKey(text, other), "a certificate does not match another key");
    check(!CSRStorage::verifyCertificateMatchesKey(text, BytesView(*key).first(key->size() - 1)),
          "a certificate does not match the beginning of its key");
    Bytes longer = *key;
    longer.push_back(0);
    check(!CSRStorage::verifyCertificateMatchesKey(text, longer),
          "a certificate does not match a key that begins with its key");
    Bytes followed(certificate.begin(), certificate.end());
    followed.insert(followed.end(), {0x30, 0x00, 0xFF});
    check(keyOnTheDevice(followed) == key, "what follows a certificate changes nothing");
    return 0;
}
