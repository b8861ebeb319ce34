// Shows the public keys that the component compares, as it finds them in certificates on the desktop device.
//
// Each line on standard input is a certificate in base64, a blank, and public key bytes in hexadecimal. Each
// is answered, in order, with a line on standard output: "match" or "differ", as CSRStorage says of the two,
// and then the bytes that the device exports of the certificate's key in hexadecimal, or "none".

#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "platform/Security.hpp"
#include "storage/CSRStorage.hpp"
#include "text/Base64.hpp"

namespace {

using namespace KavrelCrypto;

Bytes fromHex(const std::string& digits) {
    Bytes bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(index, 2), nullptr, 16)));
    }
    return bytes;
}

std::string hex(const Bytes& bytes) {
    std::ostringstream digits;
    digits << std::hex << std::setfill('0');
    for (const std::uint8_t byte : bytes) {
        digits << std::setw(2) << unsigned{byte};
    }
    return digits.str();
}

/// Takes the steps from a certificate to the bytes of its key. Absent if one of them leads to nothing.
std::optional<Bytes> exportedKey(const Bytes& der) {
    const SecCertificateRef certificate = SecCertificateCreateWithData(der);
    SecTrustRef trust;
    if (certificate == nullptr ||
        SecTrustCreateWithCertificates(certificate, SecPolicyCreateBasicX509(), &trust) != errSecSuccess) {
        return std::nullopt;
    }
    const SecKeyRef key = SecTrustCopyKey(trust);
    return key == nullptr ? std::nullopt : SecKeyCopyExternalRepresentation(key, nullptr);
}

}  // namespace

int main() {
    std::string certificate;
    std::string key;
    while (std::cin >> certificate >> key) {
        const bool matches = CSRStorage::verifyCertificateMatchesKey(certificate, fromHex(key));
        const std::optional<Bytes> exported = exportedKey(base64Decode(certificate).value());
        std::cout << (matches ? "match " : "differ ") << (exported ? hex(*exported) : "none") << std::endl;
    }
}
