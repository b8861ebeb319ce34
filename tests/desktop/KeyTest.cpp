// Keys of the desktop device: made and kept by it, judged by OpenSSL.

#include <gmock/gmock.h>

#include "tests/desktop/TestDevice.hpp"
#include "tests/plugin/OpenSSL.hpp"

namespace KavrelCrypto {
namespace {

using testing::HasSubstr;

constexpr SecKeyAlgorithm rsaSHA256 = kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256;

struct SigningCase {
    SecKeyAlgorithm algorithm;
    SecConstant keyType;
    std::int64_t bits;
    const char* digest;  // as OpenSSL calls it
};

class SecKeys : public testing::Test {
  protected:
    /// Whether OpenSSL accepts `signature` over `message`.
    static bool isAccepted(const SecKeyRef& publicKey, const SigningCase& tested, const Bytes& message,
                           const Bytes& signature) {
        const Bytes external = SecKeyCopyExternalRepresentation(publicKey, nullptr).value();
        const bool isRSA = tested.keyType == kSecAttrKeyTypeRSA;
        // What turns an RSAPublicKey, or an uncompressed point of P-256, into a SubjectPublicKeyInfo.
        const Bytes point =
            hex("30 59 30 13 06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07 03 42 00");
        const Bytes der = isRSA ? external : point + external;
        const unsigned char* next = der.data();
        const auto length = static_cast<long>(der.size());
        const OpenSSL::Key key(
            isRSA ? d2i_PublicKey(EVP_PKEY_RSA, nullptr, &next, length) : d2i_PUBKEY(nullptr, &next, length),
            EVP_PKEY_free);
        const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        EVP_DigestVerifyInit_ex(context.get(), nullptr, tested.digest, nullptr, nullptr, key.get(), nullptr);
        return EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                                message.size()) == 1;
    }

    static SecKeyRef made(SecConstant keyType, std::int64_t bits) {
        return SecKeyCreateRandomKey(pairParameters(keyType, bits, "private", "public"), nullptr);
    }

    static void expectWrong(const CFDictionary& parameters, const std::string& reason) {
        const NSError error = refusal(parameters);
        EXPECT_EQ(error.domain, "NSOSStatusErrorDomain");
        EXPECT_EQ(error.code, errSecParam);
        EXPECT_THAT(error.localizedDescription(), HasSubstr(reason));
        EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassKey}}), errSecItemNotFound);
    }

    static NSError refusal(const CFDictionary& parameters) {
        std::optional<NSError> error;
        EXPECT_EQ(SecKeyCreateRandomKey(parameters, &error), nullptr);
        return error.value();
    }

    const TestDevice device;
};

class EverySecKeyAlgorithm : public SecKeys, public testing::WithParamInterface<SigningCase> {};

TEST_P(EverySecKeyAlgorithm, MakesASignatureThatItAndOpenSSLAcceptForThisMessageOnly) {
    const auto& [algorithm, keyType, bits, digest] = GetParam();
    const SecKeyRef key = made(keyType, bits);
    const SecKeyRef publicKey = SecKeyCopyPublicKey(key);
    const Bytes message = bytesOf("a message");
    const Bytes another = bytesOf("another");
    Bytes signature = SecKeyCreateSignature(key, algorithm, message, nullptr).value();
    EXPECT_TRUE(isAccepted(publicKey, GetParam(), message, signature));
    EXPECT_FALSE(isAccepted(publicKey, GetParam(), another, signature));
    std::optional<NSError> error;
    EXPECT_TRUE(SecKeyVerifySignature(publicKey, algorithm, message, signature, &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, algorithm, another, signature, nullptr));
    signature.back() ^= 1;
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, algorithm, message, signature, &error));
    EXPECT_EQ(error.value().code, -67808);
}

TEST_P(EverySecKeyAlgorithm, SignsWithTheKeyThatTheKeychainGivesBack) {
    made(GetParam().keyType, GetParam().bits);
    device.reopen();
    const Bytes message;
    const Bytes signature =
        SecKeyCreateSignature(findKey("private"), GetParam().algorithm, message, nullptr).value();
    EXPECT_TRUE(isAccepted(findKey("public"), GetParam(), message, signature));
}

INSTANTIATE_TEST_SUITE_P(Algorithms, EverySecKeyAlgorithm,
                         testing::Values(SigningCase{kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA1,
                                                     kSecAttrKeyTypeRSA, 1024, "sha1"},
                                         SigningCase{kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256,
                                                     kSecAttrKeyTypeRSA, 2048, "sha256"},
                                         SigningCase{kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512,
                                                     kSecAttrKeyTypeRSA, 1031, "sha512"},
                                         SigningCase{kSecKeyAlgorithmECDSASignatureMessageX962SHA1,
                                                     kSecAttrKeyTypeECSECPrimeRandom, 256, "sha1"},
                                         SigningCase{kSecKeyAlgorithmECDSASignatureMessageX962SHA256,
                                                     kSecAttrKeyTypeECSECPrimeRandom, 256, "sha256"},
                                         SigningCase{kSecKeyAlgorithmECDSASignatureMessageX962SHA512,
                                                     kSecAttrKeyTypeECSECPrimeRandom, 256, "sha512"}));

TEST_F(SecKeys, HaveTheSizeOfTheirModulusOrFieldAsBlockSize) {
    EXPECT_EQ(SecKeyGetBlockSize(made(kSecAttrKeyTypeRSA, 1031)), 129U);
    EXPECT_EQ(SecKeyGetBlockSize(made(kSecAttrKeyTypeECSECPrimeRandom, 256)), 32U);
}

TEST_F(SecKeys, LeaveAStoredHalfOutThatIsNotPermanent) {
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, "private", "public");
    parameters[3].value = CFDictionary{{kSecAttrApplicationTag, bytesOf("public")}};
    ASSERT_NE(SecKeyCreateRandomKey(parameters, nullptr), nullptr);
    EXPECT_NE(findKey("private"), nullptr);
    EXPECT_EQ(findKey("public"), nullptr);
}

TEST_F(SecKeys, AreExportedByTheirPublicAndSignWithTheirPrivateHalfOnly) {
    const SecKeyRef key = made(kSecAttrKeyTypeRSA, 512);
    std::optional<NSError> exporting;
    EXPECT_EQ(SecKeyCopyExternalRepresentation(key, &exporting), std::nullopt);
    EXPECT_EQ(exporting.value().code, errSecParam);
    std::optional<NSError> signing;
    EXPECT_EQ(SecKeyCreateSignature(SecKeyCopyPublicKey(key), rsaSHA256, bytesOf("x"), &signing),
              std::nullopt);
    EXPECT_EQ(signing.value().code, errSecParam);
}

TEST_F(SecKeys, RefuseAnAlgorithmForAnotherTypeOrForALargerKey) {
    const SecKeyRef rsa = made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef ec = made(kSecAttrKeyTypeECSECPrimeRandom, 256);
    for (const auto& [key, algorithm, reason] :
         {std::tuple{rsa, kSecKeyAlgorithmECDSASignatureMessageX962SHA256, "for keys of another type"},
          {ec, rsaSHA256, "for keys of another type"},
          {rsa, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512, "cannot make this signature"}}) {
        std::optional<NSError> error;
        EXPECT_EQ(SecKeyCreateSignature(key, algorithm, bytesOf("x"), &error), std::nullopt);
        EXPECT_EQ(error.value().code, errSecParam);
        EXPECT_THAT(error.value().localizedDescription(), HasSubstr(reason));
    }
    EXPECT_FALSE(
        SecKeyVerifySignature(SecKeyCopyPublicKey(ec), rsaSHA256, bytesOf("x"), bytesOf("y"), nullptr));
}

TEST_F(SecKeys, AreNotMadeInASecureEnclaveSinceThereIsNone) {
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, "private", "public");
    parameters.push_back({kSecAttrTokenID, kSecAttrTokenIDSecureEnclave});
    const NSError error = refusal(parameters);
    EXPECT_EQ(error.domain, "NSOSStatusErrorDomain");
    EXPECT_EQ(error.code, -4);
    EXPECT_EQ(error.localizedDescription(), "This device has no Secure Enclave.");
    EXPECT_EQ(findKey("private"), nullptr);
}

TEST_F(SecKeys, TakeTheAccessibilityOfTheirAccessControl) {
    const SecAccessControlRef control = SecAccessControlCreateWithFlags(
        kSecAttrAccessibleAfterFirstUnlock, kSecAccessControlPrivateKeyUsage, nullptr);
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, "private", "public");
    parameters[2].value = CFDictionary{{kSecAttrIsPermanent, true},
                                       {kSecAttrApplicationTag, bytesOf("private")},
                                       {kSecAttrAccessControl, control}};
    ASSERT_NE(SecKeyCreateRandomKey(parameters, nullptr), nullptr);
    Desktop::setDeviceState({.locked = true});
    EXPECT_NE(findKey("private"), nullptr);
    EXPECT_EQ(findKey("public"), nullptr);
}

TEST_F(SecKeys, GetNoAccessControlOfAnotherProtectionOrWithAnotherFlag) {
    std::optional<NSError> error;
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccount, 0, &error), nullptr);
    EXPECT_EQ(error.value().code, errSecParam);
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 1, &error), nullptr);
}

/// A parameter of a pair by its place, and a value that it cannot have.
using WrongParameter = std::pair<std::size_t, CFValue>;

class SecKeysWithAWrongParameter : public SecKeys, public testing::WithParamInterface<WrongParameter> {};

TEST_P(SecKeysWithAWrongParameter, AreNotMade) {
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeRSA, 512, "private", "public");
    parameters.at(GetParam().first).value = GetParam().second;
    expectWrong(parameters, "kSec");
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, SecKeysWithAWrongParameter,
    testing::Values(WrongParameter{0, kSecClassKey}, WrongParameter{0, true},
                    WrongParameter{0, kSecAttrKeyTypeECSECPrimeRandom}, WrongParameter{1, std::string("512")},
                    WrongParameter{1, std::int64_t{511}}, WrongParameter{1, std::int64_t{8193}},
                    WrongParameter{1, std::int64_t{-1}}, WrongParameter{2, true},
                    WrongParameter{2, CFDictionary{{kSecAttrIsPermanent, std::int64_t{1}}}},
                    WrongParameter{2, CFDictionary{{kSecAttrApplicationTag, std::string("tag")}}},
                    WrongParameter{2, CFDictionary{{kSecAttrAccessible, kSecClassKey}}},
                    WrongParameter{2, CFDictionary{{kSecAttrAccessControl, SecAccessControlRef()}}},
                    WrongParameter{
                        2, CFDictionary{{kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked},
                                        {kSecAttrAccessControl,
                                         SecAccessControlCreateWithFlags(kSecAttrAccessibleAfterFirstUnlock,
                                                                         0, nullptr)}}},
                    WrongParameter{2, CFDictionary{{kSecAttrAccount, std::string("account")}}}));

TEST_F(SecKeys, AreNotMadeWithAParameterTooFewOrTooMany) {
    const CFDictionary parameters = pairParameters(kSecAttrKeyTypeRSA, 512, "private", "public");
    for (const std::size_t missing : {0U, 1U}) {
        CFDictionary fewer = parameters;
        fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(missing));
        expectWrong(fewer, "is missing");
    }
    for (const auto& [surplus, name] :
         {std::pair{parameters[0], "kSecAttrKeyType"},
          {CFDictionaryEntry{kSecMatchLimit, kSecMatchLimitOne}, "kSecMatchLimit"}}) {
        CFDictionary more = parameters;
        more.push_back(surplus);
        expectWrong(more, "The parameter " + std::string(name) + " does not belong here, or is there twice.");
    }
}

TEST_F(SecKeys, ThatWereDeletedAreGoneUnlessTheyHaveBeenUsed) {
    made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef used = findKey("private");
    EXPECT_EQ(SecKeyGetBlockSize(used), 64U);
    const SecKeyRef key = findKey("private");
    SecItemDelete({{kSecClass, kSecClassKey}});
    made(kSecAttrKeyTypeRSA, 512);
    EXPECT_NE(SecKeyCreateSignature(used, rsaSHA256, bytesOf("x"), nullptr), std::nullopt);
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), &error), std::nullopt);
    EXPECT_EQ(error.value().code, errSecItemNotFound);
    EXPECT_EQ(SecKeyCopyPublicKey(key), nullptr);
    EXPECT_EQ(SecKeyGetBlockSize(key), 0U);
}

TEST_F(SecKeys, BelongToTheirDeviceWhenTheProcessTurnsToAnother) {
    made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef key = findKey("private");
    const TestDevice another;
    EXPECT_EQ(findKey("private"), nullptr);
    EXPECT_NE(SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), nullptr), std::nullopt);
}

}  // namespace
}  // namespace KavrelCrypto
