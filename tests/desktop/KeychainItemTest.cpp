// What the keychain of the desktop device answers: the statuses, which item a query means, and what is on
// disk.

#include <algorithm>
#include <gmock/gmock.h>

#include "tests/desktop/TestDevice.hpp"

namespace KavrelCrypto {
namespace {

OSStatus lookup(const CFDictionary& query) {
    return SecItemCopyMatching(query, nullptr);
}

Bytes passwordOf(const std::string& account) {
    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching(passwordQuery(account), &result), errSecSuccess);
    return std::get<Bytes>(result);
}

Bytes exported(const SecKeyRef& key) {
    return SecKeyCopyExternalRepresentation(key, nullptr).value();
}

bool contains(const Bytes& whole, const Bytes& part) {
    return std::search(whole.begin(), whole.end(), part.begin(), part.end()) != whole.end();
}

class SecItems : public testing::Test {
  protected:
    const TestDevice device;
};

TEST_F(SecItems, GiveAPasswordBackByteForByte) {
    const std::string bytes("a\0b\r\n\xFF", 6);
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(addPassword("account", bytes), errSecSuccess);
    EXPECT_EQ(addPassword("account", "another"), errSecDuplicateItem);
    EXPECT_EQ(addPassword("empty", ""), errSecSuccess);
    EXPECT_EQ(addPassword(large, large), errSecSuccess);
    device.reopen();
    EXPECT_EQ(passwordOf("account"), bytesOf(bytes));
    EXPECT_EQ(passwordOf("empty"), Bytes());
    EXPECT_EQ(passwordOf(large), bytesOf(large));
}

TEST_F(SecItems, AreNamedByteForByte) {
    const std::vector<std::string> names{"",  "a",        "A", "a ", std::string("a\0", 2), "' OR 1=1 --",
                                         "ä", "a\xCC\x88"};
    for (const std::string& name : names) {
        EXPECT_EQ(addPassword(name, "of " + name), errSecSuccess);
    }
    for (const std::string& name : names) {
        EXPECT_EQ(passwordOf(name), bytesOf("of " + name));
    }
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, std::string("a")}}),
              errSecSuccess);
    EXPECT_EQ(lookup(passwordQuery("A")), errSecSuccess);
    EXPECT_EQ(lookup(passwordQuery("a")), errSecItemNotFound);
}

TEST_F(SecItems, GiveTheValueBackOnlyWhenAsked) {
    SecItemResult result = bytesOf("as it was");
    EXPECT_EQ(SecItemCopyMatching(passwordQuery("account"), &result), errSecItemNotFound);
    EXPECT_EQ(std::get<Bytes>(result), bytesOf("as it was"));
    CFDictionary attributes{{kSecClass, kSecClassGenericPassword},
                            {kSecAttrAccount, std::string("account")},
                            {kSecValueData, bytesOf("value")},
                            {kSecReturnData, true}};
    EXPECT_EQ(SecItemAdd(attributes, &result), errSecSuccess);
    EXPECT_EQ(std::get<Bytes>(result), bytesOf("value"));
    EXPECT_EQ(SecItemCopyMatching({{kSecClass, kSecClassGenericPassword}, {kSecReturnData, false}}, &result),
              errSecSuccess);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(result));
    result = Bytes();
    attributes[1].value = std::string("another");
    attributes.pop_back();
    EXPECT_EQ(SecItemAdd(attributes, &result), errSecSuccess);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(result));
}

const CFDictionaryEntry isKey{kSecClass, kSecClassKey};
const CFDictionaryEntry isOne{kSecAttrApplicationTag, bytesOf("one")};
const CFDictionaryEntry isOther{kSecAttrApplicationTag, bytesOf("other")};
const CFDictionaryEntry isRSA{kSecAttrKeyType, kSecAttrKeyTypeRSA};
const CFDictionaryEntry isEC{kSecAttrKeyType, kSecAttrKeyTypeECSECPrimeRandom};
const CFDictionaryEntry isPrivate{kSecAttrKeyClass, kSecAttrKeyClassPrivate};
const CFDictionaryEntry isPublic{kSecAttrKeyClass, kSecAttrKeyClassPublic};

class EverySecItemQuery : public SecItems, public testing::WithParamInterface<CFDictionary> {
  protected:
    EverySecItemQuery() {
        for (const CFDictionaryEntry& type : {isRSA, isEC}) {
            for (const auto& [tag, other] : {std::pair{isOne, isOther}, {isOther, isOne}}) {
                SecKeyCreateRandomKey(
                    pairParameters(std::get<SecConstant>(type.value), type == isRSA ? 512 : 256,
                                   tag == isOne ? "one" : "other", tag == isOne ? "other" : "one"),
                    nullptr);
                stored.push_back({isKey, tag, type, isPrivate});
                stored.push_back({isKey, other, type, isPublic});
            }
        }
    }

    [[nodiscard]] static bool isMatch(const CFDictionary& key) {
        return std::all_of(GetParam().begin(), GetParam().end(), [&](const CFDictionaryEntry& e) {
            return std::find(key.begin(), key.end(), e) != key.end();
        });
    }

    static SecKeyRef found(CFDictionary query) {
        query.push_back({kSecReturnRef, true});
        SecItemResult result;
        SecItemCopyMatching(query, &result);
        return std::holds_alternative<SecKeyRef>(result) ? std::get<SecKeyRef>(result) : nullptr;
    }

    /// The public bytes of either half.
    static Bytes publicBytes(const SecKeyRef& key) {
        return exported(SecKeyCopyPublicKey(key));
    }

    /// Every key in the keychain by its attributes, in the order of storing.
    std::vector<CFDictionary> stored;
};

TEST_P(EverySecItemQuery, FindsTheFirstThatWasStoredAndDeletesAllMatchesAndNothingElse) {
    const auto first = std::find_if(stored.begin(), stored.end(), isMatch);
    EXPECT_EQ(publicBytes(found(GetParam())), publicBytes(found(*first)));
    EXPECT_EQ(SecItemDelete(GetParam()), errSecSuccess);
    EXPECT_EQ(SecItemDelete(GetParam()), errSecItemNotFound);
    for (const CFDictionary& key : stored) {
        EXPECT_EQ(found(key) == nullptr, isMatch(key));
    }
}

INSTANTIATE_TEST_SUITE_P(Combinations, EverySecItemQuery,
                         testing::Values(CFDictionary{isKey}, CFDictionary{isKey, isOther},
                                         CFDictionary{isKey, isEC}, CFDictionary{isKey, isPublic},
                                         CFDictionary{isKey, isOther, isEC},
                                         CFDictionary{isOne, isPublic, isKey},
                                         CFDictionary{isKey, isEC, isPublic},
                                         CFDictionary{isKey, isRSA, isPublic, isOne},
                                         CFDictionary{isKey, isOther, isEC, isPrivate}));

TEST_F(SecItems, OfOneClassAreNotMetByTheOther) {
    addPassword("same", "value");
    SecKeyCreateRandomKey(pairParameters(kSecAttrKeyTypeRSA, 512, "same", "same"), nullptr);
    EXPECT_EQ(SecItemDelete({isKey}), errSecSuccess);
    EXPECT_EQ(passwordOf("same"), bytesOf("value"));
}

class WrongSecItemQuery : public SecItems, public testing::WithParamInterface<CFDictionary> {};

TEST_P(WrongSecItemQuery, IsAnsweredWithBadParameters) {
    makePair("p");
    addPassword("account", "value");
    EXPECT_EQ(lookup(GetParam()), errSecParam);
    EXPECT_EQ(SecItemDelete(GetParam()), errSecParam);
    EXPECT_TRUE(pairWorks("p"));
    EXPECT_EQ(passwordOf("account"), bytesOf("value"));
}

const CFDictionaryEntry isPassword{kSecClass, kSecClassGenericPassword};
const CFDictionaryEntry isAccount{kSecAttrAccount, std::string("account")};

INSTANTIATE_TEST_SUITE_P(Queries, WrongSecItemQuery,
                         testing::Values(CFDictionary{}, CFDictionary{isOne},
                                         CFDictionary{{kSecClass, kSecReturnRef}},
                                         CFDictionary{{kSecClass, true}}, CFDictionary{isKey, isKey},
                                         CFDictionary{isKey, isAccount}, CFDictionary{isPassword, isOne},
                                         CFDictionary{isPassword, isRSA},
                                         CFDictionary{isKey, {kSecAttrApplicationTag, std::string("one")}},
                                         CFDictionary{isPassword, {kSecAttrAccount, bytesOf("account")}},
                                         CFDictionary{isKey, {kSecAttrKeyType, kSecAttrKeyClassPublic}},
                                         CFDictionary{isKey, {kSecAttrKeyClass, kSecAttrKeyTypeRSA}},
                                         CFDictionary{isKey, {kSecReturnData, true}},
                                         CFDictionary{isPassword, {kSecReturnRef, true}},
                                         CFDictionary{isKey, {kSecReturnRef, std::int64_t{1}}},
                                         CFDictionary{isKey, {kSecMatchLimit, kSecClass}},
                                         CFDictionary{isKey, {kSecUseAuthenticationUI, kSecClass}},
                                         CFDictionary{isKey, {kSecUseAuthenticationContext, true}},
                                         CFDictionary{isKey, {kSecAttrKeySizeInBits, std::int64_t{2048}}}));

class SecItemAddWithWrongAttributes : public SecItems, public testing::WithParamInterface<CFDictionary> {};

TEST_P(SecItemAddWithWrongAttributes, IsAnsweredWithBadParameters) {
    EXPECT_EQ(SecItemAdd(GetParam(), nullptr), errSecParam);
    EXPECT_EQ(lookup({isPassword}), errSecItemNotFound);
}

const CFDictionaryEntry hasValue{kSecValueData, bytesOf("value")};

INSTANTIATE_TEST_SUITE_P(
    Additions, SecItemAddWithWrongAttributes,
    testing::Values(CFDictionary{}, CFDictionary{isAccount, hasValue}, CFDictionary{isPassword, isAccount},
                    CFDictionary{isPassword, hasValue}, CFDictionary{isKey, isOne, hasValue},
                    CFDictionary{isPassword, isAccount, hasValue, hasValue},
                    CFDictionary{isPassword, isAccount, hasValue, isOne},
                    CFDictionary{isPassword, isAccount, {kSecValueData, std::string("value")}},
                    CFDictionary{isPassword, isAccount, hasValue, {kSecAttrAccessible, kSecClass}},
                    CFDictionary{isPassword, isAccount, hasValue, {kSecMatchLimit, kSecMatchLimitOne}}));

TEST_F(SecItems, AreSealedOnDisk) {
    const SecKeyRef key =
        SecKeyCreateRandomKey(pairParameters(kSecAttrKeyTypeRSA, 2048, "tag", "other"), nullptr);
    const std::string certificate = "-----BEGIN CERTIFICATE-----\nMIIBszCCARwCCQ";
    addPassword("account", certificate);
    // A private key of RSA holds the modulus, which is also most of what its public half exports.
    const Bytes external = exported(SecKeyCopyPublicKey(key));
    const Bytes modulus(external.begin() + 10, external.begin() + 42);
    device.reopen();
    const Bytes file = readFile(device.file());
    EXPECT_TRUE(contains(file, bytesOf("account")));
    EXPECT_FALSE(contains(file, bytesOf(certificate)));
    EXPECT_FALSE(contains(file, modulus));
}

TEST_F(SecItems, AreEachSealedUnderANonceOfTheirOwn) {
    addPassword("one", std::string(64, 'x'));
    addPassword("other", std::string(64, 'x'));
    device.execute(
        "CREATE TABLE proof (different INTEGER CHECK (different = 2));"
        "INSERT INTO proof SELECT count(DISTINCT substr(sealed, 1, 12)) FROM items;");
}

TEST_F(SecItems, ThatAreLargeGiveTheirSpaceBack) {
    addPassword("account", "value");
    device.reopen();
    const auto before = std::filesystem::file_size(device.file());
    addPassword("large", std::string(8 << 20, 'x'));
    device.reopen();
    EXPECT_GT(std::filesystem::file_size(device.file()), before + (8 << 20));
    SecItemDelete({isPassword, {kSecAttrAccount, std::string("large")}});
    device.reopen();
    EXPECT_EQ(std::filesystem::file_size(device.file()), before);
}

TEST_F(SecItems, GoWithAResetAndAreNotMetByOldReferences) {
    makePair("p");
    const SecKeyRef old = findKey("p.private");
    addPassword("account", "value");
    Desktop::setDeviceState({.biometry = LABiometryType::touchID, .lockedOut = true});
    Desktop::resetDevice();
    EXPECT_EQ(findKey("p.private"), nullptr);
    EXPECT_EQ(lookup(passwordQuery("account")), errSecItemNotFound);
    EXPECT_EQ(Desktop::deviceState(), Desktop::DeviceState());
    makePair("p");
    EXPECT_TRUE(pairWorks("p"));
    EXPECT_EQ(SecKeyCopyPublicKey(old), nullptr);
}

}  // namespace
}  // namespace KavrelCrypto
