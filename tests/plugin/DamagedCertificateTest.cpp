// Certificates that were cut, lengthened or changed on their way: never a crash, and never a slot that holds
// what was refused.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using DamagedCertificates = WithSaraUntouched;

Outcome store(const std::string& certPem) {
    return call("storeCertificate", certificateOf("0012345678", certPem));
}

TEST_F(DamagedCertificates, ACertificateThatIsCutAnywhereIsNotValid) {
    const Bytes whole = saraCertificate();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(store(OpenSSL::pem(BytesView(whole).first(size))), rejected("Certificate is not valid"))
            << size << " bytes";
    }
}

TEST_F(DamagedCertificates, ATextThatIsCutInItsBodyIsNotValid) {
    const std::string whole = saraCertificatePem();
    const std::size_t bodyEnd = whole.find("\n-----END");
    for (std::size_t size = 1; size < bodyEnd; ++size) {
        EXPECT_EQ(store(whole.substr(0, size)), rejected("Certificate is not valid")) << size << " bytes";
    }
}

TEST_F(DamagedCertificates, ATextThatIsCutInItsEndMarkerIsNotValid) {
    const std::string whole = saraCertificatePem();
    const std::size_t marker = whole.find("-----END");
    for (std::size_t size = marker + 1; size < whole.size() - 1; ++size) {
        EXPECT_EQ(store(whole.substr(0, size)), rejected("Certificate is not valid")) << size << " bytes";
    }
}

TEST_F(DamagedCertificates, BytesBeforeOrBehindTheCertificateSpoilIt) {
    const Bytes whole = saraCertificate();
    for (const std::uint8_t byte : hex("00 05 30 FF")) {
        EXPECT_EQ(store(OpenSSL::pem(whole + Bytes{byte})), rejected("Certificate is not valid"));
        EXPECT_EQ(store(OpenSSL::pem(Bytes{byte} + whole)), rejected("Certificate is not valid"));
    }
    EXPECT_EQ(store(OpenSSL::pem(whole + whole)), rejected("Certificate is not valid"));
}

TEST_F(DamagedCertificates, ACertificateInBERThatIsNotDERIsNotValid) {
    const Bytes whole = saraCertificate();
    ASSERT_EQ(whole[1], 0x82);
    const Bytes content(whole.begin() + 4, whole.end());
    const Bytes withoutLength = hex("30 80") + content + hex("00 00");
    EXPECT_EQ(store(OpenSSL::pem(withoutLength)), rejected("Certificate is not valid"));
    const Bytes withALongerLength = Bytes{0x30, 0x83, 0x00, whole[2], whole[3]} + content;
    EXPECT_EQ(store(OpenSSL::pem(withALongerLength)), rejected("Certificate is not valid"));
}

class ChangedCertificates : public WithSaraEnrolled {
  protected:
    /// Stores the certificate with the byte at `position` changed. Whatever the answer is, the slot goes with
    /// it.
    static bool isStoredWith(std::size_t position, std::uint8_t change) {
        Bytes changed = saraCertificate();
        changed[position] ^= change;
        const std::string certPem = OpenSSL::pem(changed);
        const std::string before = slot();
        const Outcome outcome = store(certPem);
        if (outcome == resolved({{"stored", true}})) {
            EXPECT_EQ(slot(), certPem);
            return true;
        }
        EXPECT_EQ(outcome, rejected("Certificate is not valid"));
        EXPECT_EQ(slot(), before);
        return false;
    }
};

TEST_F(ChangedCertificates, AChangeInTheKeyIsNeverAccepted) {
    const Bytes whole = saraCertificate();
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const auto found = std::search(whole.begin(), whole.end(), key.begin(), key.end());
    ASSERT_NE(found, whole.end());
    const auto start = static_cast<std::size_t>(found - whole.begin());
    for (std::size_t i = 0; i < key.size(); ++i) {
        EXPECT_FALSE(isStoredWith(start + i, static_cast<std::uint8_t>(1U << i % 8))) << "key byte " << i;
    }
}

TEST_F(ChangedCertificates, AChangeInTheSignatureIsNotLookedAt) {
    const std::size_t size = saraCertificate().size();
    for (std::size_t i = size - 256; i < size; i += 5) {
        EXPECT_TRUE(isStoredWith(i, static_cast<std::uint8_t>(1U << i % 8))) << "byte " << i;
    }
}

TEST_F(ChangedCertificates, AChangeAnywhereElseIsAcceptedOrRefusedAndNothingElse) {
    const std::size_t signatureStart = saraCertificate().size() - 256;
    for (std::size_t i = 0; i < signatureStart; ++i) {
        for (const std::uint8_t change : hex("01 80 FF")) {
            SCOPED_TRACE(i);
            isStoredWith(i, change);
        }
    }
}

}  // namespace
}  // namespace KavrelCrypto
