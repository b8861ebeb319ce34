#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

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

TEST(Base64, EncodesAndDecodesTheVectorsOfTheStandard) {
    for (const auto& [plain, encoded] : base64Vectors) {
        EXPECT_EQ(base64Encode(bytesOf(plain)), encoded);
        EXPECT_EQ(base64Decode(encoded), bytesOf(plain)) << encoded;
    }
}

TEST(Base64, UsesTheStandardAlphabet) {
    EXPECT_EQ(
        base64Encode(hex("00 10 83 10 51 87 20 92 8B 30 D3 8F 41 14 93 51 55 97 61 96 9B 71 D7 9F 82 18 A3 "
                         "92 59 A7 A2 9A AB B2 DB AF C3 1C B3 D3 5D B7 E3 9E BB F3 DF BF")),
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64, IgnoresTheLeftOverBitsOfTheLastGroup) {
    EXPECT_EQ(base64Decode("Zh=="), bytesOf("f"));
    EXPECT_EQ(base64Decode("Zm9="), bytesOf("fo"));
}

TEST(Base64, RefusesWhatIsNotWholeGroupsOfTheAlphabet) {
    for (const std::string text :
         {"A", "AA", "AAA", "AAAAA", "Zg=", "Zg===", "====", "=AAA", "A===", "AA=A",
          "Z=g=", "Zg==Zg==", "Zm8=Zm8=", "Zm9v\n", " Zm9v", "Zm9v====", "Zm9=    "}) {
        EXPECT_EQ(base64Decode(text), std::nullopt) << text;
    }
}

TEST(Base64, RefusesEveryOtherByteInEveryPlace) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        for (std::size_t place = 0; place < 8; ++place) {
            std::string text = "Zm9vYmFy";
            text[place] = character;
            const bool isPadding = character == '=' && place == 7;
            EXPECT_EQ(base64Decode(text).has_value(),
                      alphabet.find(character) != std::string::npos || isPadding)
                << text;
        }
    }
}

TEST(Base64, DecodesWhatItEncodedForEveryLength) {
    std::mt19937 random(20261121);
    Bytes bytes;
    for (std::size_t length = 0; length < 300; ++length) {
        ASSERT_EQ(base64Decode(base64Encode(bytes)), bytes) << length;
        bytes.push_back(static_cast<std::uint8_t>(random()));
    }
}

TEST(PublicKeyPEM, HasBareLineFeedsAroundABodyOfLinesSeparatedByCRLF) {
    EXPECT_EQ(publicKeyPEM(Bytes(100, 0)), "-----BEGIN PUBLIC KEY-----\n" + std::string(64, 'A') + "\r\n" +
                                               std::string(64, 'A') + "\r\n" +
                                               "AAAAAA==" + "\n-----END PUBLIC KEY-----");
}

TEST(PublicKeyPEM, PutsNoSeparatorAfterALastLineThatIsFull) {
    EXPECT_EQ(publicKeyPEM(Bytes(48, 0)),
              "-----BEGIN PUBLIC KEY-----\n" + std::string(64, 'A') + "\n-----END PUBLIC KEY-----");
}

TEST(CertificatePEMBody, DropsEveryMarkerOfEveryBlock) {
    EXPECT_EQ(certificatePEMBody("-----BEGIN CERTIFICATE-----AA-----END CERTIFICATE-----"
                                 "-----BEGIN CERTIFICATE-----BB-----END CERTIFICATE-----"),
              "AABB");
}

TEST(CertificatePEMBody, KeepsWhatIsNotLetterForLetterAMarker) {
    for (const std::string text : {"-----begincertificate-----", "-----BEGINCERTIFICATE-----", "----BEGIN",
                                   "#comment", "-----ENDCERTIFICATE-----"}) {
        EXPECT_EQ(certificatePEMBody(text + "AA"), text + "AA");
    }
}

TEST(CertificatePEMBody, DropsTheBeginMarkersBeforeTheEndMarkersAndLooksAtEachOnce) {
    EXPECT_EQ(certificatePEMBody("-----END -----BEGIN CERTIFICATE-----CERTIFICATE-----"), "");
    EXPECT_EQ(certificatePEMBody("-----BEGIN-----BEGIN CERTIFICATE-----"), "-----BEGIN");
    EXPECT_EQ(certificatePEMBody("-----BEGIN\nCERTIFICATE-----"), "-----BEGINCERTIFICATE-----");
    EXPECT_EQ(certificatePEMBody("-----BEGIN -----BEGIN CERTIFICATE-----CERTIFICATE-----"),
              "-----BEGINCERTIFICATE-----");
    EXPECT_EQ(certificatePEMBody("-----BEGIN -----END CERTIFICATE-----CERTIFICATE-----"),
              "-----BEGINCERTIFICATE-----");
}

// The platform's whitespace-and-newline set: the property White_Space of the Unicode Character Database
// (PropList.txt), and U+200B.
constexpr char32_t whiteSpace[] = {
    0x0009, 0x000A, 0x000B, 0x000C, 0x000D, 0x0020, 0x0085, 0x00A0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
    0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x200B, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000,
};

std::string utf8(char32_t codePoint) {
    const auto byte = [&](unsigned mark, unsigned shift, unsigned mask) {
        return static_cast<char>(mark | ((codePoint >> shift) & mask));
    };
    if (codePoint < 0x80) {
        return {byte(0x00, 0, 0x7F)};
    }
    if (codePoint < 0x800) {
        return {byte(0xC0, 6, 0x1F), byte(0x80, 0, 0x3F)};
    }
    if (codePoint < 0x10000) {
        return {byte(0xE0, 12, 0x0F), byte(0x80, 6, 0x3F), byte(0x80, 0, 0x3F)};
    }
    return {byte(0xF0, 18, 0x07), byte(0x80, 12, 0x3F), byte(0x80, 6, 0x3F), byte(0x80, 0, 0x3F)};
}

TEST(CertificatePEMBody, DropsTheTwentySixWhiteSpacesAndNoOtherCharacterOfUnicode) {
    EXPECT_EQ(std::size(whiteSpace), 26U);
    for (char32_t row = 0; row <= 0x10FF; ++row) {
        if (row >= 0xD8 && row <= 0xDF) {
            continue;  // surrogates, which UTF-8 does not have
        }
        std::string characters;
        std::string kept;
        for (char32_t codePoint = row << 8; codePoint <= (row << 8 | 0xFF); ++codePoint) {
            characters += utf8(codePoint);
            if (!std::binary_search(std::begin(whiteSpace), std::end(whiteSpace), codePoint)) {
                kept += utf8(codePoint);
            }
        }
        ASSERT_EQ(certificatePEMBody(characters), kept) << "row " << static_cast<unsigned>(row);
    }
}

TEST(ASCII, CountsTheBytesOfAStringThatIsAllASCII) {
    EXPECT_EQ(asciiLength(""), 0U);
    EXPECT_EQ(asciiLength("0012345678"), 10U);
    EXPECT_EQ(asciiLength("\x7F"), 1U);
}

TEST(ASCII, CountsNothingInAStringWithAnyOtherCharacter) {
    EXPECT_EQ(asciiLength("0012345678\xC3\xA9"), 0U);
}

TEST(ASCII, ReplacesEachOtherCharacterByOneQuestionMark) {
    EXPECT_EQ(lossyASCII("a\x7F"), "a\x7F");
    EXPECT_EQ(lossyASCII("\xC3\xA9!"), "?!");
    EXPECT_EQ(lossyASCII("\xDB\xB1\xDB\xB2"), "??");
    EXPECT_EQ(lossyASCII("\xE2\x82\xAC"), "?");
    EXPECT_EQ(lossyASCII("x\xF0\x9F\x98\x80y"), "x?y");
}

TEST(UTF8, AcceptsTheFirstAndTheLastSequenceOfEachForm) {
    for (const std::string text :
         {"", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xE1\x80\x80", "\xEC\xBF\xBF", "\xED\x9F\xBF",
          "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF1\x80\x80\x80", "\xF3\xBF\xBF\xBF",
          "\xF4\x8F\xBF\xBF", "a\xC3\xA9z"}) {
        EXPECT_TRUE(isUTF8(text));
    }
    EXPECT_TRUE(isUTF8(std::string(1, '\0')));
}

TEST(UTF8, RefusesOverlongFormsSurrogatesAndWhatIsPastTheLastCodePoint) {
    for (const std::string text :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
        EXPECT_FALSE(isUTF8(text));
    }
}

TEST(UTF8, RefusesSequencesThatStopShort) {
    for (const std::string text :
         {"\xC2", "\xE2\x82", "\xF0\x9F\x98", "\xC2 ", "\xE2\x82 ", "\xF0\x9F\x98 ", "\xC3\xA9\xC3"}) {
        EXPECT_FALSE(isUTF8(text));
    }
}

}  // namespace
}  // namespace KavrelCrypto
