// Keys of the desktop device: made and kept by it, judged by the openssl command.

#include <future>
#include <gmock/gmock.h>

#include "tests/desktop/TestDevice.hpp"
#include "tests/desktop/TestProcess.hpp"

namespace KavrelCrypto {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr SecKeyAlgorithm rsaSHA256 = kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA256;

struct SigningCase {
    SecKeyAlgorithm algorithm;
    SecConstant keyType;
    std::int64_t bits;
    const char* digest;  // as the openssl command calls it
};

class SecKeys : public testing::Test {
  protected:
    /// What the openssl command says of `signature` over `message`.
    [[nodiscard]] Outcome judged(const SecKeyRef& publicKey, const SigningCase& tested, const Bytes& message,
                                 const Bytes& signature) const {
        const std::filesystem::path folder = device.folder();
        writeFile(folder / "message", message);
        writeFile(folder / "signature", signature);
        writeFile(folder / "key", publicKeyInfo(publicKey, tested.keyType));
        const std::string convert = tested.keyType == kSecAttrKeyTypeRSA
                                        ? "openssl rsa -RSAPublicKey_in -inform DER -in key -out key.pem"
                                        : "openssl ec -pubin -inform DER -in key -out key.pem";
        return run("cd " + quoted(folder) + " && " + convert + " && openssl dgst -" + tested.digest +
                   " -verify key.pem -signature signature message");
    }

    static Bytes publicKeyInfo(const SecKeyRef& publicKey, SecConstant keyType) {
        const Bytes external = SecKeyCopyExternalRepresentation(publicKey, nullptr).value();
        if (keyType == kSecAttrKeyTypeRSA) {
            return external;
        }
        return hex("30 59 30 13 06 07 2A 86 48 CE 3D 02 01 06 08 2A 86 48 CE 3D 03 01 07 03 42 00") +
               external;
    }

    static SecKeyRef made(SecConstant keyType, std::int64_t bits) {
        return SecKeyCreateRandomKey(pairParameters(keyType, bits, "private", "public"), nullptr);
    }

    static NSError refusal(const CFDictionary& parameters) {
        std::optional<NSError> error;
        EXPECT_EQ(SecKeyCreateRandomKey(parameters, &error), nullptr);
        return error.value();
    }

    const TestDevice device;
};

class EverySecKeyAlgorithm : public SecKeys, public testing::WithParamInterface<SigningCase> {};

TEST_P(EverySecKeyAlgorithm, MakesASignatureThatOpenSSLAccepts) {
    const SecKeyRef key = made(GetParam().keyType, GetParam().bits);
    const Bytes message = bytesOf("a message");
    const Bytes signature = SecKeyCreateSignature(key, GetParam().algorithm, message, nullptr).value();
    EXPECT_THAT(judged(SecKeyCopyPublicKey(key), GetParam(), message, signature).output,
                HasSubstr("Verified OK"));
    EXPECT_THAT(judged(SecKeyCopyPublicKey(key), GetParam(), bytesOf("another"), signature).output,
                HasSubstr("Verification failure"));
}

TEST_P(EverySecKeyAlgorithm, SignsWithTheKeyThatTheKeychainGivesBack) {
    made(GetParam().keyType, GetParam().bits);
    device.reopen();
    const Bytes message;
    const Bytes signature =
        SecKeyCreateSignature(findKey("private"), GetParam().algorithm, message, nullptr).value();
    EXPECT_THAT(judged(findKey("public"), GetParam(), message, signature).output, HasSubstr("Verified OK"));
}

TEST_P(EverySecKeyAlgorithm, VerifiesItsSignatureAndNoOther) {
    const SecKeyRef key = made(GetParam().keyType, GetParam().bits);
    const SecKeyRef publicKey = SecKeyCopyPublicKey(key);
    const Bytes message = bytesOf("a message");
    Bytes signature = SecKeyCreateSignature(key, GetParam().algorithm, message, nullptr).value();
    std::optional<NSError> error;
    EXPECT_TRUE(SecKeyVerifySignature(publicKey, GetParam().algorithm, message, signature, &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_FALSE(
        SecKeyVerifySignature(publicKey, GetParam().algorithm, bytesOf("another"), signature, nullptr));
    signature.back() ^= 1;
    EXPECT_FALSE(SecKeyVerifySignature(publicKey, GetParam().algorithm, message, signature, &error));
    EXPECT_EQ(error.value().code, -67808);
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

TEST_F(SecKeys, OfRSAHaveTheirModulusAsBlockSizeAndRepeatTheirSignatures) {
    const SecKeyRef key = made(kSecAttrKeyTypeRSA, 2048);
    EXPECT_EQ(SecKeyGetBlockSize(key), 256U);
    const Bytes signature = SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), nullptr).value();
    EXPECT_EQ(signature.size(), 256U);
    EXPECT_EQ(SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), nullptr), signature);
}

TEST_F(SecKeys, OfP256AreExportedAsAnUncompressedPoint) {
    const SecKeyRef key = made(kSecAttrKeyTypeECSECPrimeRandom, 256);
    const Bytes point = SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(key), nullptr).value();
    EXPECT_EQ(point.size(), 65U);
    EXPECT_EQ(point.front(), 0x04);
    EXPECT_EQ(SecKeyGetBlockSize(key), 32U);
}

TEST_F(SecKeys, StoreTheVeryHalvesOfThePairThatIsGivenBack) {
    const SecKeyRef key = made(kSecAttrKeyTypeRSA, 1024);
    const auto exported = SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(key), nullptr);
    EXPECT_EQ(SecKeyCopyExternalRepresentation(findKey("public"), nullptr), exported);
    EXPECT_EQ(SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(findKey("private")), nullptr), exported);
}

TEST_F(SecKeys, AreMadeAnewEachTime) {
    const auto exported = [&] {
        return SecKeyCopyExternalRepresentation(SecKeyCopyPublicKey(made(kSecAttrKeyTypeRSA, 512)), nullptr);
    };
    EXPECT_NE(exported(), exported());
}

TEST_F(SecKeys, LeaveAStoredHalfOutThatIsNotPermanent) {
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeECSECPrimeRandom, 256, "private", "public");
    parameters[3].value = CFDictionary{{kSecAttrApplicationTag, bytesOf("public")}};
    ASSERT_NE(SecKeyCreateRandomKey(parameters, nullptr), nullptr);
    EXPECT_NE(findKey("private"), nullptr);
    EXPECT_EQ(findKey("public"), nullptr);
}

TEST_F(SecKeys, AreNotExportedByTheirPrivateHalf) {
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCopyExternalRepresentation(made(kSecAttrKeyTypeRSA, 512), &error), std::nullopt);
    EXPECT_EQ(error.value().code, errSecParam);
}

TEST_F(SecKeys, SignWithTheirPrivateHalfOnly) {
    std::optional<NSError> error;
    const SecKeyRef publicKey = SecKeyCopyPublicKey(made(kSecAttrKeyTypeRSA, 512));
    EXPECT_EQ(SecKeyCreateSignature(publicKey, rsaSHA256, bytesOf("x"), &error), std::nullopt);
    EXPECT_EQ(error.value().code, errSecParam);
}

TEST_F(SecKeys, RefuseAnAlgorithmForAnotherType) {
    const SecKeyRef rsa = made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef ec = made(kSecAttrKeyTypeECSECPrimeRandom, 256);
    std::optional<NSError> error;
    EXPECT_EQ(
        SecKeyCreateSignature(rsa, kSecKeyAlgorithmECDSASignatureMessageX962SHA256, bytesOf("x"), &error),
        std::nullopt);
    EXPECT_EQ(error.value().code, errSecParam);
    EXPECT_EQ(SecKeyCreateSignature(ec, rsaSHA256, bytesOf("x"), nullptr), std::nullopt);
    EXPECT_FALSE(
        SecKeyVerifySignature(SecKeyCopyPublicKey(ec), rsaSHA256, bytesOf("x"), bytesOf("y"), nullptr));
}

TEST_F(SecKeys, TooSmallForADigestSayThatTheyCannotSign) {
    std::optional<NSError> error;
    const SecKeyRef key = made(kSecAttrKeyTypeRSA, 512);
    EXPECT_EQ(
        SecKeyCreateSignature(key, kSecKeyAlgorithmRSASignatureMessagePKCS1v15SHA512, bytesOf("x"), &error),
        std::nullopt);
    EXPECT_THAT(error.value().localizedDescription(), HasSubstr("cannot make this signature"));
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

TEST_F(SecKeys, GetAnAccessControlForTheFourAccessibilitiesOnly) {
    for (const SecConstant protection :
         {kSecAttrAccessibleWhenUnlocked, kSecAttrAccessibleWhenUnlockedThisDeviceOnly,
          kSecAttrAccessibleAfterFirstUnlock, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly}) {
        EXPECT_NE(SecAccessControlCreateWithFlags(protection, 0, nullptr), nullptr);
    }
    std::optional<NSError> error;
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccount, 0, &error), nullptr);
    EXPECT_EQ(error.value().code, errSecParam);
    EXPECT_EQ(SecAccessControlCreateWithFlags(kSecAttrAccessibleWhenUnlocked, 1, &error), nullptr);
}

using Change = void (*)(CFDictionary& parameters);

class SecKeyCreateRandomKeyWithWrongParameters : public SecKeys,
                                                 public testing::WithParamInterface<Change> {};

TEST_P(SecKeyCreateRandomKeyWithWrongParameters, MakesNoKey) {
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeRSA, 512, "private", "public");
    ASSERT_NE(SecKeyCreateRandomKey(parameters, nullptr), nullptr);
    SecItemDelete({{kSecClass, kSecClassKey}});
    GetParam()(parameters);
    const NSError error = refusal(parameters);
    EXPECT_EQ(error.domain, "NSOSStatusErrorDomain");
    EXPECT_EQ(error.code, errSecParam);
    EXPECT_THAT(error.localizedDescription(), HasSubstr("kSec"));
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassKey}}), errSecItemNotFound);
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, SecKeyCreateRandomKeyWithWrongParameters,
    testing::Values([](CFDictionary& p) { p[0].value = kSecClassKey; },
                    [](CFDictionary& p) { p[0].value = true; }, [](CFDictionary& p) { p.erase(p.begin()); },
                    [](CFDictionary& p) { p.erase(p.begin() + 1); },
                    [](CFDictionary& p) { p[1].value = std::string("512"); },
                    [](CFDictionary& p) { p[1].value = std::int64_t{511}; },
                    [](CFDictionary& p) { p[1].value = std::int64_t{8193}; },
                    [](CFDictionary& p) { p[1].value = std::int64_t{-1}; },
                    [](CFDictionary& p) { p[0].value = kSecAttrKeyTypeECSECPrimeRandom; },
                    [](CFDictionary& p) { p[2].value = true; },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{{kSecAttrIsPermanent, std::int64_t{1}}};
                    },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{{kSecAttrApplicationTag, std::string("tag")}};
                    },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{{kSecAttrAccessible, kSecClassKey}};
                    },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{{kSecAttrAccessControl, SecAccessControlRef()}};
                    },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{
                            {kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked},
                            {kSecAttrAccessControl, SecAccessControlCreateWithFlags(
                                                        kSecAttrAccessibleAfterFirstUnlock, 0, nullptr)}};
                    },
                    [](CFDictionary& p) {
                        p[2].value = CFDictionary{{kSecAttrAccount, std::string("account")}};
                    },
                    [](CFDictionary& p) { p.push_back(p[0]); },
                    [](CFDictionary& p) {
                        p.push_back({kSecMatchLimit, kSecMatchLimitOne});
                    }));

#define NAMED(constant) \
    { constant, #constant }
constexpr std::pair<SecConstant, const char*> constants[] = {
    NAMED(kSecClass),
    NAMED(kSecClassKey),
    NAMED(kSecClassGenericPassword),
    NAMED(kSecAttrApplicationTag),
    NAMED(kSecAttrKeyType),
    NAMED(kSecAttrKeyTypeRSA),
    NAMED(kSecAttrKeyTypeECSECPrimeRandom),
    NAMED(kSecAttrKeySizeInBits),
    NAMED(kSecAttrKeyClass),
    NAMED(kSecAttrKeyClassPrivate),
    NAMED(kSecAttrKeyClassPublic),
    NAMED(kSecAttrIsPermanent),
    NAMED(kSecAttrTokenID),
    NAMED(kSecAttrTokenIDSecureEnclave),
    NAMED(kSecAttrAccount),
    NAMED(kSecAttrAccessControl),
    NAMED(kSecAttrAccessible),
    NAMED(kSecAttrAccessibleWhenUnlocked),
    NAMED(kSecAttrAccessibleWhenUnlockedThisDeviceOnly),
    NAMED(kSecAttrAccessibleAfterFirstUnlock),
    NAMED(kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly),
    NAMED(kSecPrivateKeyAttrs),
    NAMED(kSecPublicKeyAttrs),
    NAMED(kSecValueData),
    NAMED(kSecReturnRef),
    NAMED(kSecReturnData),
    NAMED(kSecMatchLimit),
    NAMED(kSecMatchLimitOne),
    NAMED(kSecUseAuthenticationContext),
    NAMED(kSecUseAuthenticationUI),
    NAMED(kSecUseAuthenticationUIAllow),
};
#undef NAMED

TEST_F(SecKeys, AreNotMadeWithASurplusParameterWhichTheMessageNames) {
    for (const auto& [surplus, name] : constants) {
        CFDictionary parameters = pairParameters(kSecAttrKeyTypeRSA, 512, "private", "public");
        // A value of no type that any parameter has, so that those that belong there are at fault, too.
        parameters[2].value = CFDictionary{{surplus, CFDictionary{}}};
        EXPECT_THAT(refusal(parameters).localizedDescription(),
                    StartsWith("The parameter " + std::string(name) + " "));
    }
    CFDictionary parameters = pairParameters(kSecAttrKeyTypeRSA, 512, "private", "public");
    parameters.push_back({kSecMatchLimit, kSecMatchLimitOne});
    EXPECT_EQ(refusal(parameters).localizedDescription(),
              "The parameter kSecMatchLimit does not belong here, or is there twice.");
}

TEST_F(SecKeys, FoundBeforeTheyWereDeletedSayThatTheyAreGone) {
    made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef key = findKey("private");
    SecItemDelete({{kSecClass, kSecClassKey}});
    made(kSecAttrKeyTypeRSA, 512);
    std::optional<NSError> error;
    EXPECT_EQ(SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), &error), std::nullopt);
    EXPECT_EQ(error.value().code, errSecItemNotFound);
    EXPECT_EQ(SecKeyCopyPublicKey(key), nullptr);
    EXPECT_EQ(SecKeyGetBlockSize(key), 0U);
}

TEST_F(SecKeys, UsedBeforeTheyWereDeletedStayUsable) {
    made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef key = findKey("private");
    EXPECT_EQ(SecKeyGetBlockSize(key), 64U);
    SecItemDelete({{kSecClass, kSecClassKey}});
    EXPECT_NE(SecKeyCreateSignature(key, rsaSHA256, bytesOf("x"), nullptr), std::nullopt);
}

TEST_F(SecKeys, MayBeUsedByManyThreadsAtOnce) {
    made(kSecAttrKeyTypeRSA, 512);
    const SecKeyRef key = findKey("private");
    const SecKeyRef publicKey = findKey("public");
    std::vector<std::future<bool>> results;
    for (int i = 0; i < 8; ++i) {
        results.push_back(std::async(std::launch::async, [&, i] {
            const Bytes message = bytesOf(std::to_string(i));
            const std::optional<Bytes> signature = SecKeyCreateSignature(key, rsaSHA256, message, nullptr);
            return signature && SecKeyVerifySignature(publicKey, rsaSHA256, message, *signature, nullptr) &&
                   makePair("p" + std::to_string(i)) != nullptr && pairWorks("p" + std::to_string(i));
        }));
    }
    for (std::future<bool>& result : results) {
        EXPECT_TRUE(result.get());
    }
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
