// Says whose certificates are, as the component finds the public keys in them on the desktop device.
//
// Each line on standard input is a certificate in base64, a blank, and public key bytes in hexadecimal. Each
// is answered, in order, with a line on standard output: "match" or "differ", as CSRStorage says of the two.

#include <iostream>
#include <string>

#include "storage/CSRStorage.hpp"

namespace {

KavrelCrypto::Bytes fromHex(const std::string& digits) {
    KavrelCrypto::Bytes bytes;
    for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(index, 2), nullptr, 16)));
    }
    return bytes;
}

}  // namespace

int main() {
    std::string certificate;
    std::string key;
    while (std::cin >> certificate >> key) {
        const bool matches = KavrelCrypto::CSRStorage::verifyCertificateMatchesKey(certificate, fromHex(key));
        std::cout << (matches ? "match" : "differ") << std::endl;
    }
}
