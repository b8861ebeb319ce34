#include <gmock/gmock.h>

#include "storage/CSRStorage.hpp"
#include "tests/scripted/ScriptedDevice.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::IsNull;
using testing::NotNull;
using testing::Return;

const CFDictionary slot = {
    {kSecClass, kSecClassGenericPassword},
    {kSecAttrAccount, std::string("com.ios.kavrel.cachedCSR")},
};

const CFDictionary slotQuery = {
    {kSecClass, kSecClassGenericPassword},
    {kSecAttrAccount, std::string("com.ios.kavrel.cachedCSR")},
    {kSecReturnData, true},
    {kSecMatchLimit, kSecMatchLimitOne},
};

class CSRStorageTest : public testing::Test {
  protected:
    ScriptedDevice device;
    const InSequence inOrder;
    const CSRStorage& storage = CSRStorage::shared();
};

using CSRStorageSaveCSR = CSRStorageTest;
using CSRStorageGetCSR = CSRStorageTest;
using CSRStorageDeleteCSR = CSRStorageTest;

TEST_F(CSRStorageSaveCSR, DeletesTheEarlierTextAndThenAddsTheNewOne) {
    EXPECT_CALL(device, SecItemDelete(slot)).WillOnce(Return(errSecItemNotFound));
    EXPECT_CALL(
        device,
        SecItemAdd(CFDictionary{{kSecClass, kSecClassGenericPassword},
                                {kSecAttrAccount, std::string("com.ios.kavrel.cachedCSR")},
                                {kSecValueData, bytesOf("a\r\n\xC3\xA9")},
                                {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly}},
                   IsNull()))
        .WillOnce(Return(errSecSuccess));
    EXPECT_TRUE(storage.saveCSR("a\r\n\xC3\xA9"));
}

TEST_F(CSRStorageSaveCSR, ReturnsFalseWhenTheAdditionFails) {
    for (const OSStatus status : {errSecDuplicateItem, errSecInteractionNotAllowed, 1}) {
        EXPECT_CALL(device, SecItemDelete(slot)).WillOnce(Return(errSecSuccess));
        EXPECT_CALL(device, SecItemAdd).WillOnce(Return(status));
        EXPECT_FALSE(storage.saveCSR("a"));
    }
}

TEST_F(CSRStorageGetCSR, ReturnsTheBytesAsAUTF8StringEvenIfThereAreNone) {
    for (const std::string text : {"\xC3\xA9\r\n", ""}) {
        EXPECT_CALL(device, SecItemCopyMatching(slotQuery, NotNull())).WillOnce(givesBack(bytesOf(text)));
        EXPECT_EQ(storage.getCSR(), text);
    }
}

TEST_F(CSRStorageGetCSR, ReturnsNothingWhenTheLookupSucceedsWithoutBytes) {
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(std::monostate()));
    EXPECT_EQ(storage.getCSR(), std::nullopt);
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(newKey()));
    EXPECT_EQ(storage.getCSR(), std::nullopt);
}

TEST_F(CSRStorageGetCSR, ReturnsNothingWhenTheBytesAreNotUTF8) {
    EXPECT_CALL(device, SecItemCopyMatching).WillOnce(givesBack(hex("41 C3")));
    EXPECT_EQ(storage.getCSR(), std::nullopt);
}

TEST_F(CSRStorageDeleteCSR, ReturnsTrueExactlyWhenTheStatusIsZero) {
    EXPECT_CALL(device, SecItemDelete(slot)).WillOnce(Return(errSecSuccess));
    EXPECT_TRUE(storage.deleteCSR());
    for (const OSStatus status : {errSecItemNotFound, errSecInteractionNotAllowed, 1}) {
        EXPECT_CALL(device, SecItemDelete(slot)).WillOnce(Return(status));
        EXPECT_FALSE(storage.deleteCSR());
    }
}

class CSRStorageVerifyCertificateMatchesKey : public testing::Test {
  protected:
    bool matches(const std::string& text = "AAEC") {
        return CSRStorage::verifyCertificateMatchesKey(text, hex("AA BB"));
    }

    void expectExport(std::optional<Bytes> exported) {
        EXPECT_CALL(device, SecCertificateCreateWithData(hex("00 01 02"))).WillOnce(Return(certificate));
        EXPECT_CALL(device, SecPolicyCreateBasicX509()).WillOnce(Return(policy));
        EXPECT_CALL(device, SecTrustCreateWithCertificates(certificate, policy, NotNull()))
            .WillOnce(testing::DoAll(testing::SetArgPointee<2>(trust), Return(errSecSuccess)));
        EXPECT_CALL(device, SecTrustCopyKey(trust)).WillOnce(Return(key));
        EXPECT_CALL(device, SecKeyCopyExternalRepresentation(key, testing::_))
            .WillOnce(Return(std::move(exported)));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const SecCertificateRef certificate = std::make_shared<const SecCertificate>();
    const SecPolicyRef policy = std::make_shared<const SecPolicy>();
    const SecTrustRef trust = std::make_shared<const SecTrust>();
    const SecKeyRef key = newKey();
};

TEST_F(CSRStorageVerifyCertificateMatchesKey, ComparesTheExportedKeyByteForByte) {
    expectExport(hex("AA BB"));
    EXPECT_TRUE(matches());
    for (const char* other : {"AA", "AA BC", "AB BB", "AA BB 00", "00 AA BB", ""}) {
        expectExport(hex(other));
        EXPECT_FALSE(matches()) << other;
    }
}

TEST_F(CSRStorageVerifyCertificateMatchesKey, TakesMarkersAndWhiteSpaceOutOfTheText) {
    expectExport(hex("AA BB"));
    EXPECT_TRUE(
        matches("-----BEGIN CERTIFICATE-----\r\n\tA A\xC2\xA0"
                "E\n\nC\xE2\x80\x8B\r\n-----END CERTIFICATE-----\n"));
}

TEST_F(CSRStorageVerifyCertificateMatchesKey, ReturnsFalseForWhatIsNotBase64BeforeItAsksAnythingElse) {
    for (const char* text : {"AAE", "AAE*", "-----begin certificate-----AAEC-----end certificate-----",
                             "# label\nAAEC", "AAEC\xE2\x80\x8D"}) {
        EXPECT_FALSE(matches(text)) << text;
    }
}

TEST_F(CSRStorageVerifyCertificateMatchesKey, AsksForACertificateEvenInNoBytes) {
    EXPECT_CALL(device, SecCertificateCreateWithData(Bytes())).WillOnce(Return(nullptr));
    EXPECT_FALSE(matches(""));
}

}  // namespace
}  // namespace KavrelCrypto
