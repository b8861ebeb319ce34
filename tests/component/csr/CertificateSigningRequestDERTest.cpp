#include <gmock/gmock.h>
#include <limits>

#include "csr/CertificateSigningRequest.hpp"
#include "tests/scripted/ScriptedDevice.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using CSR = CertificateSigningRequest;

const Bytes commonName = hex("06 03 55 04 03");
constexpr std::uint8_t utf8String = 0x0C;
constexpr std::uint8_t ia5String = 0x16;

Bytes lengthOctets(std::int64_t length) {
    Bytes out = hex("EE");
    CSR::appendDERLength(length, out);
    return {out.begin() + 1, out.end()};
}

TEST(AppendDERLength, WritesTheShortestFormUpToItsLimit) {
    EXPECT_EQ(lengthOctets(0), hex("00"));
    EXPECT_EQ(lengthOctets(127), hex("7F"));
    EXPECT_EQ(lengthOctets(128), hex("81 80"));
    EXPECT_EQ(lengthOctets(255), hex("81 FF"));
    EXPECT_EQ(lengthOctets(256), hex("82 01 00"));
    EXPECT_EQ(lengthOctets(0x1234), hex("82 12 34"));
    EXPECT_EQ(lengthOctets(32767), hex("82 7F FF"));
}

TEST(AppendDERLength, WritesNothingFrom32768On) {
    for (const std::int64_t length : {std::int64_t{32768}, std::int64_t{65535}, std::int64_t{65536},
                                      std::numeric_limits<std::int64_t>::max()}) {
        EXPECT_EQ(lengthOctets(length), Bytes());
    }
}

TEST(AppendDERLength, StopsTheProcessAtANegativeLength) {
    EXPECT_DEATH(lengthOctets(-1), "a DER length must not be negative");
}

TEST(Enclose, PutsTagAndLengthInFrontAndLeavesTheLengthOutFrom32768BytesOn) {
    const Bytes large(32768, 0xAB);
    const std::pair<Bytes, Bytes> cases[] = {
        {{}, hex("30 00")}, {hex("02 01 00"), hex("30 03 02 01 00")}, {large, hex("30") + large}};
    for (const auto& [content, enclosed] : cases) {
        Bytes data = content;
        CSR::enclose(data, 0x30);
        EXPECT_EQ(data, enclosed);
    }
}

TEST(PrependByte, PutsOneByteInFront) {
    Bytes data = hex("AA BB");
    CSR::prependByte(0x00, data);
    EXPECT_EQ(data, hex("00 AA BB"));
}

TEST(AppendBITSTRING, CountsExactlyWhatItIsGivenAndLeavesTheLengthOutFrom32768BytesOn) {
    Bytes out = hex("EE");
    CSR::appendBITSTRING(hex("00 AA BB"), out);
    EXPECT_EQ(out, hex("EE 03 03 00 AA BB"));
    out.clear();
    CSR::appendBITSTRING(Bytes(32767, 0xAB), out);
    EXPECT_EQ(out, hex("03 82 7F FF") + Bytes(32767, 0xAB));
    out.clear();
    CSR::appendBITSTRING(Bytes(32768, 0xAB), out);
    EXPECT_EQ(out, hex("03") + Bytes(32768, 0xAB));
}

Bytes printable(const std::string& text) {
    Bytes out;
    CSR::appendPrintableString(text, out);
    return out;
}

TEST(AppendPrintableString, WritesAnASCIIString) {
    EXPECT_EQ(printable(""), hex("13 00"));
    EXPECT_EQ(printable("0012345678"), hex("13 0A 30 30 31 32 33 34 35 36 37 38"));
}

TEST(AppendPrintableString, WritesALengthOfZeroForAStringThatIsNotAllASCII) {
    EXPECT_EQ(printable("1\xC3\xA9"
                        "2"),
              hex("13 00 31 3F 32"));
    EXPECT_EQ(printable("\xDB\xB1\xDB\xB2"), hex("13 00 3F 3F"));
    EXPECT_EQ(printable("\xF0\x9F\x98\x80"), hex("13 00 3F"));
}

TEST(AppendUTF8String, WritesTheBytesUnderTheTagItIsGiven) {
    Bytes out = hex("EE");
    CSR::appendUTF8String("\xC3\xA9", out, utf8String);
    CSR::appendUTF8String("\xC3\xA9", out, ia5String);
    EXPECT_EQ(out, hex("EE 0C 02 C3 A9 16 02 C3 A9"));
}

TEST(AppendSubjectItem, WritesARelativeDistinguishedNameOfOneAttribute) {
    Bytes out = hex("EE");
    CSR::appendSubjectItem(commonName, "AB", out, utf8String);
    EXPECT_EQ(out, hex("EE 31 0B 30 09 06 03 55 04 03 0C 02 41 42"));
    CSR::appendSubjectItemPrintable(commonName, "AB", out);
    EXPECT_EQ(out, hex("EE 31 0B 30 09 06 03 55 04 03 0C 02 41 42 31 0B 30 09 06 03 55 04 03 13 02 41 42"));
}

TEST(AppendSubjectItem, TakesAnAttributeTypeOfElevenBytes) {
    const Bytes emailAddress = hex("06 09 2A 86 48 86 F7 0D 01 09 01");
    Bytes out;
    CSR::appendSubjectItem(emailAddress, "a@b", out, ia5String);
    EXPECT_EQ(out, hex("31 12 30 10") + emailAddress + hex("16 03 61 40 62"));
}

TEST(AppendSubjectItem, WritesLongLengthsAndLeavesEveryLengthOutWhenTheValueIsTooLarge) {
    Bytes out;
    CSR::appendSubjectItem(commonName, std::string(200, 'a'), out, utf8String);
    EXPECT_EQ(out, hex("31 81 D3 30 81 D0 06 03 55 04 03 0C 81 C8") + Bytes(200, 'a'));
    out.clear();
    CSR::appendSubjectItem(commonName, std::string(40000, 'a'), out, utf8String);
    EXPECT_EQ(out, hex("31 30 06 03 55 04 03 0C") + Bytes(40000, 'a'));
}

TEST(AppendSubjectItem, RefusesAnAttributeTypeOfAnyOtherLength) {
    ScriptedDevice device;
    EXPECT_CALL(device, print("Error: appending to a non-subject item")).Times(8);
    for (const std::size_t size : {0U, 4U, 9U, 12U}) {
        Bytes out = hex("EE");
        CSR::appendSubjectItem(Bytes(size), "AB", out, utf8String);
        CSR::appendSubjectItemPrintable(Bytes(size), "AB", out);
        EXPECT_EQ(out, hex("EE"));
    }
}

struct LengthRead {
    std::int64_t value;
    std::int64_t index;
    friend bool operator==(const LengthRead&, const LengthRead&) = default;
};

LengthRead readLength(const std::string& bytes, std::int64_t index = 0) {
    const std::int64_t value = CSR::derEncodingGetSizeFrom(hex(bytes), index);
    return {value, index};
}

TEST(DEREncodingGetSizeFrom, ReadsShortAndLongFormsOfUpTo63Bits) {
    EXPECT_EQ(readLength("05"), (LengthRead{5, 1}));
    EXPECT_EQ(readLength("00"), (LengthRead{0, 1}));
    EXPECT_EQ(readLength("7F"), (LengthRead{127, 1}));
    EXPECT_EQ(readLength("81 80"), (LengthRead{128, 2}));
    EXPECT_EQ(readLength("82 01 00"), (LengthRead{256, 3}));
    EXPECT_EQ(readLength("AA 82 01 02 BB", 1), (LengthRead{0x102, 4}));
    EXPECT_EQ(readLength("88 7F FF FF FF FF FF FF FF"),
              (LengthRead{std::numeric_limits<std::int64_t>::max(), 9}));
    EXPECT_EQ(readLength("8A 00 00 00 00 00 00 00 00 00 07"), (LengthRead{7, 11}));
    EXPECT_EQ(readLength("80"), (LengthRead{128, 1})) << "the indefinite form";
}

TEST(DEREncodingGetSizeFrom, StopsTheProcessAtALengthThatOverflowsOrIsNotWithinTheData) {
    EXPECT_DEATH(readLength("88 80 00 00 00 00 00 00 00"), "a DER length must fit in 63 bits");
    EXPECT_DEATH(readLength("89 01 00 00 00 00 00 00 00 00"), "a DER length must fit in 63 bits");
    for (const char* cut : {"81", "82 01", "FF"}) {
        EXPECT_DEATH(readLength(cut), "a DER length must end within the data") << cut;
    }
    EXPECT_DEATH(readLength(""), "a DER length must begin within the data");
    EXPECT_DEATH(readLength("05", 1), "a DER length must begin within the data");
    EXPECT_DEATH(readLength("05", -1), "a DER length must begin within the data");
}

TEST(DEREncodingSpecificSize, ReturnsTheSizeOfAnUncompressedPointAndPrintsNothing) {
    const ScriptedDevice device;
    EXPECT_EQ(CSR::derEncodingSpecificSize(hex("04") + Bytes(64), 7, 9), 65);
}

TEST(DEREncodingSpecificSize, PrintsALineForAnyOtherFormAndReturnsItsSize) {
    ScriptedDevice device;
    EXPECT_CALL(device, print("Error, framework only supports uncompressed keys"));
    EXPECT_EQ(CSR::derEncodingSpecificSize(hex("02") + Bytes(32), 0, 0), 33);
}

TEST(DEREncodingSpecificSize, StopsTheProcessWithoutData) {
    EXPECT_DEATH(CSR::derEncodingSpecificSize({}, 0, 0), "an elliptic-curve public key must not be empty");
}

// The method is private. How it splits an RSAPublicKey shows in the SubjectPublicKeyInfo, which is written
// from the parts.

Bytes rsaInfo(const Bytes& bits) {
    return CSR().buildPublicKeyInfo(bits);
}

Bytes infoOf(const std::string& rsaPublicKey) {
    Bytes bits = hex("00 " + rsaPublicKey);
    Bytes info = hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00");
    CSR::appendBITSTRING(bits, info);
    CSR::enclose(info, 0x30);
    return info;
}

TEST(DecodeRSAPublicKeyComponents, FindsModulusAndExponent) {
    for (const char* key : {
             "30 06 02 01 05 02 01 03",
             "03 09 00 30 06 02 01 05 02 01 03",  // within a BIT STRING
             "02 01 05 02 01 03",                 // without the SEQUENCE
             "03 7F 00 30 00 02 01 05 02 01 03",  // the lengths around the integers are not used
         }) {
        EXPECT_EQ(rsaInfo(hex(key)), infoOf("30 06 02 01 05 02 01 03")) << key;
    }
}

TEST(DecodeRSAPublicKeyComponents, KeepsLeadingZerosAndDropsWhatFollows) {
    EXPECT_EQ(rsaInfo(hex("30 08 02 02 00 85 02 02 00 03 FF FF")), infoOf("30 08 02 02 00 85 02 02 00 03"));
}

TEST(DecodeRSAPublicKeyComponents, FindsTwoEmptyIntegersInWhatCannotBeSplit) {
    for (const char* key :
         {"", "30 03 02 01 05", "31 00", "30 00", "04 01 05", "30 06 04 01 05 02 01 03", "30 06 02 02 05",
          "30 06 02 01 05 04 01 03", "30 06 02 01 05 02 02 03", "03 01 00", "03 00"}) {
        EXPECT_EQ(rsaInfo(hex(key)), infoOf("30 04 02 00 02 00")) << key;
    }
}

TEST(DecodeRSAPublicKeyComponents, StopsTheProcessWhenALengthIsCutOff) {
    for (const char* key :
         {"30", "03", "02", "30 06 02", "30 06 02 81", "30 06 02 01 05 02", "30 06 02 01 05 02 82 01"}) {
        EXPECT_DEATH(rsaInfo(hex(key)), "a DER length must (begin|end) within the data") << key;
    }
}

TEST(DecodeRSAPublicKeyComponents, StopsTheProcessWhenALengthOverflowsItsPosition) {
    EXPECT_DEATH(rsaInfo(hex("02 88 7F FF FF FF FF FF FF FF")), "must not overflow the position");
    EXPECT_DEATH(rsaInfo(hex("02 01 05 02 88 7F FF FF FF FF FF FF FF")), "must not overflow the position");
}

}  // namespace
}  // namespace KavrelCrypto
