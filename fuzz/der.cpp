// What reads and writes DER, compared with readers and writers of the plainest kind. The first byte of an
// input says which one reads the rest.

#include "devices/desktop/DER.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "csr/CertificateSigningRequest.hpp"
#include "fuzz/check.hpp"

namespace KavrelCrypto {
namespace {

/// Thrown in the place of fatalError's abort: a stop is how some operations answer some inputs, so it is an
/// outcome to be compared, and not a finding. No code under test catches it.
struct Stop {};

/// Returns what `operation` returns, or an absent value if it stops the process.
template <typename Operation>
auto unlessStopped(Operation operation) -> std::optional<decltype(operation())> {
    try {
        return operation();
    } catch (const Stop&) {
        return std::nullopt;
    }
}

using Fuzz::check;
using Request = CertificateSigningRequest;

constexpr std::int64_t longest = std::numeric_limits<std::int64_t>::max();

Bytes joined(Bytes left, BytesView right) {
    append(right, left);
    return left;
}

/// Returns a tag and the length of `size` bytes. From 32,768 bytes on, the length is left out.
Bytes header(std::uint8_t tag, std::size_t size) {
    const auto low = static_cast<std::uint8_t>(size % 0x100);
    if (size < 0x80) {
        return {tag, low};
    }
    if (size < 0x100) {
        return {tag, 0x81, low};
    }
    return size < 0x8000 ? Bytes{tag, 0x82, static_cast<std::uint8_t>(size / 0x100), low} : Bytes{tag};
}

Bytes element(std::uint8_t tag, BytesView content) {
    return joined(header(tag, content.size()), content);
}

/// What is left of some bytes, as a reader goes through them.
class Cursor {
  public:
    explicit Cursor(BytesView data) : whole_(data), rest_(data) {}

    [[nodiscard]] std::int64_t position() const {
        return static_cast<std::int64_t>(whole_.size() - rest_.size());
    }

    BytesView take(std::size_t size) {
        const BytesView taken = rest_.first(std::min(size, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    /// Passes over `tag` if it comes next. Returns whether it did.
    bool passes(std::uint8_t tag) {
        return !rest_.empty() && rest_.front() == tag && take(1).size() == 1;
    }

    /// Reads a length as the request's reader is to: a first octet up to 80 is the length itself, and it
    /// stops where the octets end too early or are more than 63 bits.
    std::int64_t length() {
        const BytesView first = take(1);
        if (first.empty()) {
            throw Stop();
        }
        const std::size_t count = first[0] > 0x80 ? first[0] - 0x80U : 0;
        BytesView octets = count == 0 ? first : take(count);
        if (octets.size() < count) {
            throw Stop();
        }
        while (!octets.empty() && octets.front() == 0) {
            octets = octets.subspan(1);
        }
        if (octets.size() > 8 || (octets.size() == 8 && octets.front() > 0x7F)) {
            throw Stop();
        }
        std::int64_t value = 0;
        for (const std::uint8_t octet : octets) {
            value = value << 8 | octet;
        }
        return value;
    }

    /// Passes over an INTEGER and returns its content; absent if there is none or it does not fit.
    std::optional<BytesView> integer() {
        if (!passes(0x02)) {
            return std::nullopt;
        }
        const std::int64_t size = length();
        if (size > longest - position()) {
            throw Stop();
        }
        return size > static_cast<std::int64_t>(rest_.size())
                   ? std::nullopt
                   : std::optional(take(static_cast<std::size_t>(size)));
    }

  private:
    BytesView whole_;
    BytesView rest_;
};

Bytes copied(BytesView view) {
    return {view.begin(), view.end()};
}

Bytes publicKeyInfo(BytesView algorithm, const Bytes& key) {
    return element(0x30, joined(element(0x30, copied(algorithm)), element(0x03, joined({0x00}, key))));
}

Bytes expectedRSAInfo(BytesView data) {
    Cursor cursor(data);
    if (cursor.passes(0x03)) {
        cursor.length();
        cursor.take(1);
    }
    if (cursor.passes(0x30)) {
        cursor.length();
    }
    std::optional<BytesView> modulus = cursor.integer();
    std::optional<BytesView> exponent = modulus ? cursor.integer() : std::nullopt;
    const bool isSplit = exponent.has_value();
    const Bytes key = joined(element(0x02, isSplit ? copied(*modulus) : Bytes()),
                             element(0x02, isSplit ? copied(*exponent) : Bytes()));
    const std::uint8_t rsaEncryption[] = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                                          0x0D, 0x01, 0x01, 0x01, 0x05, 0x00};
    return publicKeyInfo(rsaEncryption, element(0x30, key));
}

Bytes expectedECInfo(BytesView data) {
    if (data.size() < 65) {
        throw Stop();
    }
    const std::uint8_t primeCurve[] = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01, 0x06,
                                       0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};
    return publicKeyInfo(primeCurve, copied(data.first(65)));
}

void readLength(BytesView data) {
    if (data.empty()) {
        return;
    }
    const auto start = static_cast<std::int64_t>(static_cast<std::int8_t>(data[0]));
    data = data.subspan(1);
    std::int64_t end = start;
    const auto read = unlessStopped([&] { return Request::derEncodingGetSizeFrom(data, end); });
    std::int64_t expectedEnd = start;
    const auto expected = unlessStopped([&] {
        if (start < 0 || start > static_cast<std::int64_t>(data.size())) {
            throw Stop();
        }
        Cursor cursor(data);
        cursor.take(static_cast<std::size_t>(start));
        const std::int64_t length = cursor.length();
        expectedEnd = cursor.position();
        return length;
    });
    check(read == expected, "both readers read the same length, or stop");
    check(!read || end == expectedEnd, "both readers stand at the same place");
}

void writeLength(BytesView data) {
    std::uint64_t bits = 0;
    for (const std::uint8_t byte : data.first(std::min(data.size(), std::size_t{8}))) {
        bits = bits << 8 | byte;
    }
    const auto length = static_cast<std::int64_t>(bits);
    const auto written = unlessStopped([&] {
        Bytes out;
        Request::appendDERLength(length, out);
        return out;
    });
    check(written.has_value() == (length >= 0), "only a negative length stops the process");
    if (!written || length > 0x7FFF) {
        check(!written || written->empty(), "a length from 32768 on is not written");
        return;
    }
    std::int64_t index = 0;
    check(Request::derEncodingGetSizeFrom(*written, index) == length && index == std::ssize(*written),
          "a length that was written is read");
    Bytes enclosed(static_cast<std::size_t>(length), 0x5A);
    const Bytes expected = element(0x30, enclosed);
    Request::enclose(enclosed, 0x30);
    check(enclosed == expected, "both writers enclose alike");
}

void splitRSAKey(BytesView data) {
    const Request request({.keyAlgorithm = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256)});
    check(unlessStopped([&] { return request.buildPublicKeyInfo(data); }) ==
              unlessStopped([&] { return expectedRSAInfo(data); }),
          "both readers split an RSA key alike, or stop");
}

void cutPoint(BytesView data) {
    const Request request({.keyAlgorithm = KeyAlgorithm::ec(KeyAlgorithm::Signature::sha256)});
    check(unlessStopped([&] { return request.buildPublicKeyInfo(data); }) ==
              unlessStopped([&] { return expectedECInfo(data); }),
          "both readers take the same point, or stop");
}

/// What the device takes for DER is for tests/plugin to say. Here it only has to do no harm.
void judgeDER(BytesView data) {
    Desktop::isDER(data);
}

}  // namespace
}  // namespace KavrelCrypto

// The linker puts this in the place of fatalError (--wrap).
extern "C" [[noreturn]] void __wrap__ZN12KavrelCrypto10fatalErrorESt17basic_string_viewIcSt11char_traitsIcEE(
    std::string_view /*precondition*/) {
    throw KavrelCrypto::Stop();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace KavrelCrypto;
    constexpr void (*readers[])(BytesView) = {readLength, writeLength, splitRSAKey, cutPoint, judgeDER};
    if (size != 0) {
        readers[data[0] % std::size(readers)](BytesView(data, size).subspan(1));
    }
    return 0;
}
