#include <gmock/gmock.h>

#include "csr/CSRBuilder.hpp"
#include "csr/CSRCreationError.hpp"
#include "csr/CertificateSigningRequest.hpp"
#include "plugin/UserInfo.hpp"
#include "tests/component/Scripts.hpp"
#include "tests/support/Hex.hpp"
#include "text/Base64.hpp"

namespace KavrelCrypto {
namespace {

using testing::InSequence;
using testing::IsNull;
using testing::NotNull;
using testing::Return;

const UserInfo user = {
    .identificationId = "not used 1",
    .nationalCode = "0012345678",
    .name = "not used 2",
    .lastName = "not used 3",
    .enName = "Given",
    .enLastName = "Sur",
    .postalCode = "1234567890",
    .phoneNumber = "not used 4",
    .birthCertificateId = "not used 5",
    .birthDate = "not used 6",
    .city = "City",
    .provinceName = "Province",
    .gender = "not used 7",
    .citizenship = "not used 8",
};

const Bytes publicKeyBits = hex("30 06 02 01 05 02 01 03");

/// Returns the CertificationRequestInfo for `user` and that public key.
Bytes expectedInfo() {
    return CertificateSigningRequest({
                                         .commonName = "0012345678",
                                         .serialNumber = "0012345678",
                                         .stateOrProvinceName = "Province",
                                         .localityName = "City",
                                         .keyAlgorithm = KeyAlgorithm::rsa(KeyAlgorithm::Signature::sha256),
                                         .surName = "Sur",
                                         .givenName = "Given",
                                         .postalCode = "1234567890",
                                         .includeEkuExtensions = true,
                                     })
        .buldCertificationRequestInfo(publicKeyBits);
}

class CSRBuilderBuildCSR : public testing::Test {
  protected:
    std::string build() {
        return CSRBuilder::shared().buildCSR("alias", user);
    }

    void expectUtilityPair(SecKeyRef privateHalf, SecKeyRef publicHalf) {
        expectKeyLookup(device, "com.kavrel.app.privatekeyalias", std::move(privateHalf));
        expectKeyLookup(device, "com.kavrel.app.publickeyalias", std::move(publicHalf));
    }

    void expectManagerPair() {
        expectKeyLookup(device, "com.solbera.app.privatekey.alias", privateKey);
        EXPECT_CALL(device, SecKeyCopyPublicKey(privateKey)).WillOnce(Return(publicKey));
    }

    void expectSigning() {
        EXPECT_CALL(device, SecKeyGetBlockSize(publicKey)).WillOnce(Return(0));
        EXPECT_CALL(device, SecKeyCopyExternalRepresentation(publicKey, IsNull()))
            .WillOnce(Return(publicKeyBits));
        EXPECT_CALL(device,
                    SecKeyCreateSignature(privateKey, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
                                          expectedInfo(), NotNull()))
            .WillOnce(Return(hex("AA BB")));
        EXPECT_CALL(device,
                    SecKeyVerifySignature(publicKey, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
                                          expectedInfo(), hex("AA BB"), NotNull()))
            .WillOnce(Return(true));
    }

    void expectRequest() {
        Bytes request =
            expectedInfo() + hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 0B 05 00") + hex("03 03 00 AA BB");
        CertificateSigningRequest::enclose(request, 0x30);
        EXPECT_EQ(build(), base64Encode(request));
    }

    ScriptedDevice device;
    const InSequence inOrder;
    const SecKeyRef privateKey = newKey();
    const SecKeyRef publicKey = newKey();
};

TEST_F(CSRBuilderBuildCSR, UsesTheUtilityPairWhenBothHalvesAreThere) {
    expectUtilityPair(privateKey, publicKey);
    expectSigning();
    expectRequest();
}

TEST_F(CSRBuilderBuildCSR, UsesTheKeyManagersPairWhenThereIsNoUtilityPair) {
    expectUtilityPair(nullptr, nullptr);
    expectManagerPair();
    expectSigning();
    expectRequest();
}

TEST_F(CSRBuilderBuildCSR, HasTheKeyManagerGenerateAPairWhenThereIsNone) {
    expectUtilityPair(nullptr, nullptr);
    expectKeyLookup(device, "com.solbera.app.privatekey.alias", nullptr);
    expectPairDeletion(device, "alias", errSecItemNotFound, errSecItemNotFound);
    EXPECT_CALL(device, SecKeyCreateRandomKey(pairParameters("alias"), NotNull()))
        .WillOnce(Return(privateKey));
    EXPECT_CALL(device, SecKeyCopyPublicKey(privateKey)).WillOnce(Return(publicKey));
    expectSigning();
    expectRequest();
}

TEST_F(CSRBuilderBuildCSR, MakesANewUtilityPairInSilenceWhenTheKeyManagerHasNoPublicKey) {
    expectUtilityPair(nullptr, nullptr);
    expectKeyLookup(device, "com.solbera.app.privatekey.alias", privateKey);
    EXPECT_CALL(device, SecKeyCopyPublicKey(privateKey)).WillOnce(Return(nullptr));
    const auto half = [](const std::string& tag) {
        return CFDictionary{{kSecAttrIsPermanent, true},
                            {kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock},
                            {kSecAttrApplicationTag, bytesOf(tag)}};
    };
    const CFDictionary parameters = {
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeySizeInBits, std::int64_t{2048}},
        {kSecReturnRef, true},
        {kSecPublicKeyAttrs, half("com.kavrel.app.publickeyalias")},
        {kSecPrivateKeyAttrs, half("com.kavrel.app.privatekeyalias")},
    };
    EXPECT_CALL(device, SecKeyCreateRandomKey(parameters, NotNull())).WillOnce(Return(privateKey));
    const CFDictionary query = {
        {kSecClass, kSecClassKey},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrApplicationTag, bytesOf("com.kavrel.app.publickeyalias")},
        {kSecReturnRef, true},
    };
    EXPECT_CALL(device, SecItemCopyMatching(query, NotNull())).WillOnce(givesBack(publicKey));
    expectSigning();
    expectRequest();
}

TEST_F(CSRBuilderBuildCSR, FailsWhenTheLastPairIsNotWhole) {
    for (const bool made : {false, true}) {
        expectUtilityPair(nullptr, nullptr);
        expectKeyLookup(device, "com.solbera.app.privatekey.alias", privateKey);
        EXPECT_CALL(device, SecKeyCopyPublicKey(privateKey)).WillOnce(Return(nullptr));
        EXPECT_CALL(device, SecKeyCreateRandomKey).WillOnce(Return(made ? privateKey : nullptr));
        if (made) {
            EXPECT_CALL(device, SecItemCopyMatching).WillOnce(Return(errSecItemNotFound));
            EXPECT_CALL(device, print("Error getting publicKey from keychain occurred: -25300"));
        }
        EXPECT_EQ(thrownBy([&] { build(); }),
                  (NSError{.domain = "KavrelCrypto.CSRCreationError", .code = 2}));
    }
}

TEST(CSRCreationError, HasItsPositionAsItsCodeAndTheGenericDescription) {
    EXPECT_EQ(toNSError(CSRCreationError::missingPublicKey).code, 0);
    EXPECT_EQ(toNSError(CSRCreationError::signingFailed).code, 1);
    EXPECT_EQ(toNSError(CSRCreationError::buildFailed).code, 2);
    EXPECT_EQ(toNSError(CSRCreationError::buildFailed).localizedDescription(),
              "The operation couldn\xE2\x80\x99t be completed. (KavrelCrypto.CSRCreationError error 2.)");
}

}  // namespace
}  // namespace KavrelCrypto
