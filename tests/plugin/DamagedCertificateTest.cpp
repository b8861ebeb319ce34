// Certificates that were cut, lengthened or changed on their way: never a crash, and never a slot that holds
// what was refused.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "tests/plugin/People.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using PluginStoreDamagedCertificate = WithSaraUntouched;

Outcome store(const std::string& certPem) {
    return call("storeCertificate", certificateOf("0012345678", certPem));
}

TEST_F(PluginStoreDamagedCertificate, ACertificateThatIsCutAnywhereIsNotValid) {
    const Bytes whole = saraCertificate();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(store(OpenSSL::pem(BytesView(whole).first(size))), rejected("Certificate is not valid"))
            << size << " bytes";
    }
}

TEST_F(PluginStoreDamagedCertificate, ATextThatIsCutIsNotValidUnlessItsBodyIsWhole) {
    const std::string whole = saraCertificatePem();
    const std::size_t bodyEnd = whole.find("\n-----END");
    for (std::size_t size = 1; size < whole.size() - 1; ++size) {
        if (size != bodyEnd && size != bodyEnd + 1) {
            EXPECT_EQ(store(whole.substr(0, size)), rejected("Certificate is not valid")) << size << " bytes";
        }
    }
}

TEST_F(PluginStoreDamagedCertificate, BytesBeforeTheCertificateSpoilIt) {
    for (const std::uint8_t byte : hex("00 05 30 FF")) {
        EXPECT_EQ(store(OpenSSL::pem(Bytes{byte} + saraCertificate())), rejected("Certificate is not valid"));
    }
}

TEST_F(PluginStoreDamagedCertificate, ACertificateInBERThatIsNotDERIsNotValid) {
    const Bytes whole = saraCertificate();
    ASSERT_EQ(whole[1], 0x82);
    const Bytes content(whole.begin() + 4, whole.end());
    const Bytes withoutLength = hex("30 80") + content + hex("00 00");
    EXPECT_EQ(store(OpenSSL::pem(withoutLength)), rejected("Certificate is not valid"));
    const Bytes withALongerLength = Bytes{0x30, 0x83, 0x00, whole[2], whole[3]} + content;
    EXPECT_EQ(store(OpenSSL::pem(withALongerLength)), rejected("Certificate is not valid"));
}

/// Certificates of which one part is written in another way.
class PluginStoreRewrittenCertificate : public WithSaraEnrolled {
  protected:
    /// Sara's certificate with `replacement` in the place of `part`, which is not within a deeper part that
    /// tells its length.
    static Outcome storeWith(const Bytes& part, const Bytes& replacement) {
        Bytes der = saraCertificate();
        const auto found = std::search(der.begin(), der.end(), part.begin(), part.end());
        EXPECT_NE(found, der.end());
        const Bytes behind(found + static_cast<std::ptrdiff_t>(part.size()), der.end());
        der = Bytes(der.begin(), found) + replacement + behind;
        for (const std::size_t sequence : {0U, 4U}) {  // the certificate, and the part of it that is signed
            EXPECT_EQ(der[sequence + 1], 0x82);
            const std::size_t length =
                der[sequence + 2] * 256U + der[sequence + 3] + replacement.size() - part.size();
            der[sequence + 2] = static_cast<std::uint8_t>(length >> 8);
            der[sequence + 3] = static_cast<std::uint8_t>(length);
        }
        return store(OpenSSL::pem(der));
    }

    /// The SubjectPublicKeyInfo of an RSA key, whose algorithm has these parameters.
    static Bytes publicKeyInfo(const Bytes& parameters, const Bytes& key) {
        const auto element = [](std::uint8_t tag, const Bytes& content) {
            return Bytes{tag, 0x82, static_cast<std::uint8_t>(content.size() >> 8),
                         static_cast<std::uint8_t>(content.size())} +
                   content;
        };
        return element(0x30, hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01") + parameters +
                                 element(0x03, hex("00") + key));
    }

    const Outcome isStored = resolved({{"stored", true}});
    const Outcome isRefused = rejected("Certificate is not valid");
    const Bytes null = hex("05 00");
    const Bytes serialNumber = hex("02 02 12 67");
    const Bytes subject = hex("30 15 31 13 30 11 06 03 55 04 03 0C 0A") + bytesOf("0012345678");
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const Bytes keyInfo = publicKeyInfo(null, key);
};

TEST_F(PluginStoreRewrittenCertificate, PartsThatAreNotDERSpoilACertificate) {
    EXPECT_EQ(storeWith(serialNumber, serialNumber), isStored);
    EXPECT_EQ(storeWith(serialNumber, hex("02 81 02 12 67")), isRefused);
    EXPECT_EQ(storeWith(subject,
                        hex("30 80 31 13 30 11 06 03 55 04 03 0C 0A") + bytesOf("0012345678") + hex("00 00")),
              isRefused);
    EXPECT_EQ(storeWith(subject, hex("30 16 31 14 30 12 06 03 55 04 03 0C 81 0A") + bytesOf("0012345678")),
              isRefused);
    EXPECT_EQ(storeWith(subject, hex("30 19 31 17 30 15 06 03 55 04 03 2C 0E 0C 05") + bytesOf("00123") +
                                     hex("0C 05") + bytesOf("45678")),
              isRefused);
    EXPECT_EQ(storeWith(keyInfo,
                        keyInfo + hex("A3 80 30 10 30 0E 06 03 55 1D 0F 01 01 FF 04 04 03 02 06 40 00 00")),
              isRefused);
}

TEST_F(PluginStoreRewrittenCertificate, AStringThatEndsWithinACharacterSpoilsACertificate) {
    const auto name = [](const Bytes& string) { return hex("30 0E 31 0C 30 0A 06 03 55 04 03") + string; };
    const Bytes oneAndAHalfBMPCharacters = hex("1E 03 00 30 00");
    const Bytes partOfAUniversalCharacter = hex("1C 03 00 00 00");
    EXPECT_EQ(storeWith(subject, name(hex("0C 03 30 31 32"))), isStored);
    EXPECT_EQ(storeWith(subject, name(oneAndAHalfBMPCharacters)), isRefused);
    EXPECT_EQ(storeWith(subject, name(partOfAUniversalCharacter)), isRefused);
}

TEST_F(PluginStoreRewrittenCertificate, ABooleanThatIsNotDERSpoilsACertificate) {
    // keyUsage, nonRepudiation. Where DER leaves FALSE out, the platform's parser reads it all the same.
    const auto extension = [&](const Bytes& critical) {
        return keyInfo + hex("A3 12 30 10 30 0E 06 03 55 1D 0F") + critical + hex("04 04 03 02 06 40");
    };
    EXPECT_EQ(storeWith(keyInfo, extension(hex("01 01 FF"))), isStored);
    EXPECT_EQ(storeWith(keyInfo, extension(hex("01 01 00"))), isStored);
    EXPECT_EQ(storeWith(keyInfo, extension(hex("01 01 01"))), isRefused);
}

TEST_F(PluginStoreRewrittenCertificate, AKeyThatIsNotDERSpoilsACertificate) {
    ASSERT_EQ(key.size(), 270U);
    EXPECT_EQ(storeWith(keyInfo, publicKeyInfo(null, key)), isStored);
    const Bytes modulus(key.begin() + 4, key.begin() + 265);
    EXPECT_EQ(
        storeWith(keyInfo, publicKeyInfo(null, hex("30 82 01 0B") + modulus + hex("02 81 03 01 00 01"))),
        isRefused);
    EXPECT_EQ(storeWith(keyInfo, publicKeyInfo(null, key + hex("00"))), isRefused);
}

TEST_F(PluginStoreRewrittenCertificate, AKeyThatIsNotWholeBytesSpoilsACertificate) {
    Bytes withUnusedBits = keyInfo;
    std::uint8_t& unusedBits = withUnusedBits.at(withUnusedBits.size() - key.size() - 1);
    ASSERT_EQ(unusedBits, 0);
    for (unusedBits = 1; unusedBits < 8; ++unusedBits) {
        EXPECT_EQ(storeWith(keyInfo, withUnusedBits), isRefused);
    }
}

TEST_F(PluginStoreRewrittenCertificate, ANegativeModulusSpoilsACertificate) {
    const Bytes withoutItsSign(key.begin() + 9, key.begin() + 265);
    EXPECT_EQ(storeWith(keyInfo, publicKeyInfo(null, hex("30 82 01 09 02 82 01 00") + withoutItsSign +
                                                         hex("02 03 01 00 01"))),
              isRefused);
}

TEST_F(PluginStoreRewrittenCertificate, TheParametersOfTheKeysAlgorithmAreNotLookedAt) {
    // RSA has none, so nobody reads what stands in their place.
    for (const Bytes& junk : {hex("04 00"), hex("30 00"), hex("C0 00")}) {
        EXPECT_EQ(storeWith(keyInfo, publicKeyInfo(junk, key)), isStored);
    }
}

class PluginStoreChangedCertificate : public WithSaraEnrolled {
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

TEST_F(PluginStoreChangedCertificate, AChangeInTheKeyIsNeverAccepted) {
    const Bytes whole = saraCertificate();
    const Bytes key = OpenSSL::rsaPublicKey(saraKey());
    const auto found = std::search(whole.begin(), whole.end(), key.begin(), key.end());
    ASSERT_NE(found, whole.end());
    const auto start = static_cast<std::size_t>(found - whole.begin());
    for (std::size_t i = 0; i < key.size(); ++i) {
        EXPECT_FALSE(isStoredWith(start + i, static_cast<std::uint8_t>(1U << i % 8))) << "key byte " << i;
    }
}

TEST_F(PluginStoreChangedCertificate, AChangeInTheSignatureIsNotLookedAt) {
    const std::size_t size = saraCertificate().size();
    for (std::size_t i = size - 256; i < size; i += 5) {
        EXPECT_TRUE(isStoredWith(i, static_cast<std::uint8_t>(1U << i % 8))) << "byte " << i;
    }
}

TEST_F(PluginStoreChangedCertificate, AChangeAnywhereElseIsAcceptedOrRefusedAndNothingElse) {
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
