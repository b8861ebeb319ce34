// The information of a certification request, compared with a writer of the plainest kind. An input chooses
// the attributes of the subject, and for each of them a length near one at which the encoding changes.

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "csr/CertificateSigningRequest.hpp"
#include "fuzz/check.hpp"
#include "fuzz/element.hpp"

namespace KavrelCrypto {
namespace {

using Fuzz::check;
using Fuzz::element;
using Fuzz::header;
using Fuzz::joined;
using Values = CertificateSigningRequest::Values;

constexpr std::uint8_t sequence = 0x30;
constexpr std::uint8_t set = 0x31;
constexpr std::uint8_t utf8String = 0x0C;
constexpr std::uint8_t printableString = 0x13;
constexpr std::uint8_t ia5String = 0x16;

struct Attribute {
    std::optional<std::string> Values::*value;
    Bytes type;
    std::uint8_t stringTag;
};

/// The attributes in the order in which a subject has them. Most types are 2.5.4 and one number.
std::vector<Attribute> madeAttributes() {
    const auto type = [](std::uint8_t number) { return Bytes{0x06, 0x03, 0x55, 0x04, number}; };
    const Bytes emailAddress = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01};
    return {{&Values::countryName, type(6), utf8String},
            {&Values::stateOrProvinceName, type(8), utf8String},
            {&Values::localityName, type(7), utf8String},
            {&Values::organizationName, type(10), utf8String},
            {&Values::organizationUnitName, type(11), utf8String},
            {&Values::commonName, type(3), utf8String},
            {&Values::surName, type(4), utf8String},
            {&Values::givenName, type(42), utf8String},
            {&Values::serialNumber, type(5), printableString},
            {&Values::postalCode, type(17), printableString},
            {&Values::emailAddress, emailAddress, ia5String},
            {&Values::csrDescription, type(13), utf8String}};
}

const std::vector<Attribute>& attributes() {
    static const std::vector<Attribute> made = madeAttributes();
    return made;
}

/// A PrintableString with a character that is not in ASCII has the length 0 and a question mark for each one.
Bytes printable(const std::string& value) {
    std::string ascii;
    for (const char c : value) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte < 0x80) {
            ascii += c;
        } else if (byte >= 0xC0) {
            ascii += '?';
        }
    }
    return joined(header(printableString, ascii == value ? value.size() : 0), bytesOf(ascii));
}

Bytes expectedInformation(const Values& values, const Bytes& publicKey) {
    Bytes subject;
    for (const Attribute& attribute : attributes()) {
        if (const std::optional<std::string>& value = values.*attribute.value) {
            const Bytes string = attribute.stringTag == printableString
                                     ? printable(*value)
                                     : element(attribute.stringTag, bytesOf(*value));
            subject =
                joined(std::move(subject), element(set, element(sequence, joined(attribute.type, string))));
        }
    }
    const Bytes rsaEncryption = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                                 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};
    const Bytes key =
        element(sequence, joined(element(sequence, rsaEncryption), element(0x03, joined({0x00}, publicKey))));
    // extendedKeyUsage (2.5.29.37), critical: document signing and client authentication
    const Bytes purposes =
        element(sequence, {{0x06, 0x0A, 0x2B, 0x06, 0x01, 0x04, 0x01, 0x82, 0x37, 0x0A, 0x03,
                            0x0C, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02}});
    const Bytes extension =
        element(sequence, joined({0x06, 0x03, 0x55, 0x1D, 0x25, 0x01, 0x01, 0xFF}, element(0x04, purposes)));
    const Bytes extensionRequest = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x0E};
    const Bytes requested =
        element(sequence, joined(extensionRequest, element(set, element(sequence, extension))));
    const Bytes version = {0x02, 0x01, 0x00};
    const Bytes information = joined(joined(joined(version, element(sequence, subject)), key),
                                     element(0xA0, values.includeEkuExtensions ? requested : Bytes()));
    return element(sequence, information);
}

/// Takes bytes off an input; zeros when it is at its end.
class Input {
  public:
    explicit Input(BytesView data) : rest_(data) {}

    unsigned byte() {
        if (rest_.empty()) {
            return 0;
        }
        const unsigned first = rest_.front();
        rest_ = rest_.subspan(1);
        return first;
    }

    std::string string() {
        constexpr std::size_t lengths[] = {0, 80, 215, 32'710};
        constexpr const char* ends[] = {"", "z", "\u00E9", "\u06F1\U0001F600"};
        const unsigned length = byte();
        const unsigned text = byte();
        return std::string(lengths[length % 4] + length / 4, static_cast<char>(' ' + text / 4)) +
               ends[text % 4];
    }

  private:
    BytesView rest_;
};

}  // namespace
}  // namespace KavrelCrypto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    Input input({data, size});
    const unsigned present = input.byte() << 8U | input.byte();
    Values values;
    values.includeEkuExtensions = present >> 15U != 0;
    for (std::size_t i = 0; i < attributes().size(); ++i) {
        if ((present >> i & 1U) != 0) {
            values.*attributes()[i].value = input.string();
        }
    }
    const std::string modulus = input.string();
    const Bytes publicKey =
        element(sequence, joined(element(0x02, bytesOf(modulus)), element(0x02, {{0x03}})));
    if (publicKey.size() > 0x7FFF) {
        return 0;  // a key without lengths cannot be read, and the platform exports none
    }
    const CertificateSigningRequest request(values);
    check(request.buldCertificationRequestInfo(publicKey) == expectedInformation(values, publicKey),
          "both writers write the same request");
    return 0;
}
