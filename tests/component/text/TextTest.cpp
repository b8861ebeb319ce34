#include <gtest/gtest.h>

#include "tests/support/Hex.hpp"
#include "text/ASCII.hpp"
#include "text/Base64.hpp"
#include "text/PEM.hpp"
#include "text/UTF8.hpp"

namespace KavrelCrypto {
namespace {

// RFC 4648, section 10.
const std::pair<std::string, std::string> base64Vectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

TEST(Base64, encodesTheVectorsOfTheStandard) {
    for (const auto& [plain, encoded] : base64Vectors) {
        EXPECT_EQ(base64Encode(bytesOf(plain)), encoded);
    }
}

TEST(Base64, decodesTheVectorsOfTheStandard) {
    for (const auto& [plain, encoded] : base64Vectors) {
        EXPECT_EQ(base64Decode(encoded), bytesOf(plain)) << encoded;
    }
}

TEST(Base64, usesTheStandardAlphabet) {
    EXPECT_EQ(
        base64Encode(hex("00 10 83 10 51 87 20 92 8B 30 D3 8F 41 14 93 51 55 97 61 96 9B 71 D7 9F 82 18 A3 "
                         "92 59 A7 A2 9A AB B2 DB AF C3 1C B3 D3 5D B7 E3 9E BB F3 DF BF")),
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64, decodesWhatItEncodedForEveryByteInEveryPlace) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        for (std::size_t length = 1; length <= 4; ++length) {
            const Bytes bytes(length, static_cast<std::uint8_t>(byte));
            EXPECT_EQ(base64Decode(base64Encode(bytes)), bytes);
        }
    }
}

TEST(Base64, doesNotLookAtTheLeftOverBitsOfTheLastGroup) {
    EXPECT_EQ(base64Decode("Zh=="), bytesOf("f"));
    EXPECT_EQ(base64Decode("Zm9="), bytesOf("fo"));
}

TEST(Base64, refusesWhatIsNotWholeGroupsOfTheAlphabet) {
    for (const std::string text : {"A",
                                   "AA",
                                   "AAA",
                                   "AAAAA",
                                   "AAAAAA",
                                   "AAAAAAA",
                                   "Zg=",
                                   "Zg",
                                   "Zg===",
                                   "====",
                                   "=",
                                   "=AAA",
                                   "A===",
                                   "AA=A",
                                   "Zg==Zg==",
                                   "Zm8=Zm8=",
                                   "Zm9v\n",
                                   " Zm9v",
                                   "Zm 9",
                                   "Zm\r\n",
                                   "Zm9-",
                                   "Zm9_",
                                   "Zm9*",
                                   "Zm9\xC3",
                                   "\xEF\xBB\xBFZ",
                                   "Zm9v====",
                                   "Z=g=",
                                   "Zm9="
                                   "    "}) {
        EXPECT_EQ(base64Decode(text), std::nullopt) << text;
    }
}

TEST(Base64, refusesANulCharacter) {
    EXPECT_EQ(base64Decode(std::string("Zm9\0", 4)), std::nullopt);
}

TEST(PublicKeyPEM, hasBareLineFeedsAroundABodyOfLinesSeparatedByCRLF) {
    EXPECT_EQ(publicKeyPEM(Bytes(100, 0)), "-----BEGIN PUBLIC KEY-----\n" + std::string(64, 'A') + "\r\n" +
                                               std::string(64, 'A') + "\r\n" +
                                               "AAAAAA==" + "\n-----END PUBLIC KEY-----");
}

TEST(PublicKeyPEM, putsNoSeparatorAfterALastLineThatIsFull) {
    EXPECT_EQ(publicKeyPEM(Bytes(48, 0)),
              "-----BEGIN PUBLIC KEY-----\n" + std::string(64, 'A') + "\n-----END PUBLIC KEY-----");
}

TEST(CertificatePEMBody, dropsEveryMarkerOfEveryBlock) {
    EXPECT_EQ(certificatePEMBody("-----BEGIN CERTIFICATE-----AA-----END CERTIFICATE-----"
                                 "-----BEGIN CERTIFICATE-----BB-----END CERTIFICATE-----"),
              "AABB");
}

TEST(CertificatePEMBody, keepsWhatIsNotLetterForLetterAMarker) {
    for (const std::string text : {"-----begincertificate-----", "-----BEGINCERTIFICATE-----", "----BEGIN",
                                   "#comment", "-----ENDCERTIFICATE-----"}) {
        EXPECT_EQ(certificatePEMBody(text + "AA"), text + "AA");
    }
}

TEST(CertificatePEMBody, dropsTheBeginMarkersBeforeTheEndMarkersAndLooksAtEachOnce) {
    EXPECT_EQ(certificatePEMBody("-----END -----BEGIN CERTIFICATE-----CERTIFICATE-----"), "");
    EXPECT_EQ(certificatePEMBody("-----BEGIN-----BEGIN CERTIFICATE-----"), "-----BEGIN");
    EXPECT_EQ(certificatePEMBody("-----BEGIN -----END CERTIFICATE-----CERTIFICATE-----"),
              "-----BEGINCERTIFICATE-----");
}

// The property White_Space of the Unicode Character Database (PropList.txt), in UTF-8.
const char* const whiteSpace[] = {
    "\t",           "\n",           "\v",           "\f",           "\r",           " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
    "\xE3\x80\x80",
};

TEST(CertificatePEMBody, dropsEachOfTheTwentyFiveUnicodeWhiteSpaces) {
    EXPECT_EQ(std::size(whiteSpace), 25U);
    for (const std::string space : whiteSpace) {
        EXPECT_EQ(certificatePEMBody(space + "A" + space + space + "B" + space), "AB");
    }
}

TEST(CertificatePEMBody, keepsWhatOnlyLooksLikeWhiteSpace) {
    for (const std::string text :
         {"\xE2\x80\x8B" /* U+200B */, "\xEF\xBB\xBF" /* U+FEFF */, "\xE1\xA0\x8E" /* U+180E */,
          "\xE2\x80\x8C" /* U+200C */, "\xE2\x80\xAA" /* U+202A */, "\xC2\x84", "\x1F", "\x08",
          "\xE2\x81\xA0" /* U+2060 */}) {
        EXPECT_EQ(certificatePEMBody(text), text);
    }
}

TEST(ASCII, countsTheBytesOfATextThatIsAllASCII) {
    EXPECT_EQ(asciiLength(""), 0U);
    EXPECT_EQ(asciiLength("0012345678"), 10U);
    EXPECT_EQ(asciiLength("\x7F"), 1U);
}

TEST(ASCII, countsNothingForATextWithAnyOtherCharacter) {
    EXPECT_EQ(asciiLength("0012345678\xC3\xA9"), 0U);
}

TEST(ASCII, replacesEachOtherCharacterByOneQuestionMark) {
    EXPECT_EQ(lossyASCII("a\x7F"), "a\x7F");
    EXPECT_EQ(lossyASCII("\xC3\xA9!"), "?!");
    EXPECT_EQ(lossyASCII("\xDB\xB1\xDB\xB2"), "??");
    EXPECT_EQ(lossyASCII("\xE2\x82\xAC"), "?");
    EXPECT_EQ(lossyASCII("x\xF0\x9F\x98\x80y"), "x?y");
}

TEST(UTF8, acceptsTheFirstAndTheLastSequenceOfEachLength) {
    for (const std::string text :
         {"", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
          "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "a\xC3\xA9z"}) {
        EXPECT_TRUE(isUTF8(text));
    }
    EXPECT_TRUE(isUTF8(std::string(1, '\0')));
}

TEST(UTF8, refusesOverlongFormsSurrogatesAndWhatIsPastTheLastCodePoint) {
    for (const std::string text :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
        EXPECT_FALSE(isUTF8(text));
    }
}

TEST(UTF8, refusesSequencesThatStopShort) {
    for (const std::string text :
         {"\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC2 ", "\xE2\x82 ", "\xF0\x9F\x98 ", "\xC3\xA9\xC3"}) {
        EXPECT_FALSE(isUTF8(text));
    }
}

}  // namespace
}  // namespace KavrelCrypto
