// "createCSR" for strings that a subject was never meant to hold. The request comes out malformed, always in
// the same way, and the call is resolved.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

// The AlgorithmIdentifier, the start of the BIT STRING, and the signature.
constexpr std::ptrdiff_t behindTheSignedPart = 15 + 5 + 256;

bool contains(const Bytes& whole, const Bytes& part) {
    return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

bool startsWith(const Bytes& whole, const Bytes& part) {
    return whole.size() >= part.size() && std::equal(part.begin(), part.end(), whole.begin());
}

Bytes created(const JSObject& userInfo) {
    return OpenSSL::fromBase64(text(call("createCSR", request(userInfo)), "csrPem"));
}

class PluginCreateCSROddities : public WithSaraUntouched {
  protected:
    /// Returns whether `request` ends with Sara's signature over its bytes from `start` up to the
    /// AlgorithmIdentifier.
    static bool isSigned(const Bytes& request, std::ptrdiff_t start) {
        return std::ssize(request) > start + behindTheSignedPart &&
               OpenSSL::verifies(saraKey(),
                                 Bytes(request.begin() + start, request.end() - behindTheSignedPart),
                                 Bytes(request.end() - 256, request.end()));
    }
};

TEST_F(PluginCreateCSROddities, APostalCodeInPersianDigitsIsQuestionMarksBehindALengthOfZero) {
    const Bytes request = created(with(identity(sara), "postalCode", "۱۱۹۳۶"));
    const Bytes item = hex("31 0E 30 0C 06 03 55 04 11 13 00");
    EXPECT_TRUE(contains(request, item + bytesOf("?????")));
    EXPECT_EQ(OpenSSL::parsedRequest(request), nullptr);
    EXPECT_TRUE(isSigned(request, 4));
}

TEST_F(PluginCreateCSROddities, ANameOf40000BytesFollowsTagsWithoutLengths) {
    const Bytes request = created(with(identity(sara), "provinceName", std::string(40'000, 'p')));
    const Bytes start = hex("30 30 02 01 00 30 31 30 06 03 55 04 08 0C");
    const Bytes next = hex("31 13 30 11 06 03 55 04 07 0C 0A");
    EXPECT_TRUE(startsWith(request, start + bytesOf(std::string(40'000, 'p')) + next));
    EXPECT_EQ(OpenSSL::parsedRequest(request), nullptr);
    EXPECT_TRUE(isSigned(request, 1));
}

TEST_F(PluginCreateCSROddities, AMegabyteInEveryStringIsNotAFailure) {
    const JSObject plain = identity(sara);
    JSObject userInfo = plain;
    for (const JSMember& member : plain.members()) {
        if (member.key != "nationalCode") {
            userInfo = with(userInfo, member.key, std::string(1'000'000, 'x'));
        }
    }
    EXPECT_TRUE(isSigned(created(userInfo), 1));
}

}  // namespace
}  // namespace KavrelCrypto
