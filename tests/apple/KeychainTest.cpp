// The keychain operations of the Apple device.

#include <gtest/gtest.h>

#include "apple/AppleDeviceTest.hpp"
#include "devices/apple/Handles.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {
namespace {

using AppleStandIns::calls;
using AppleStandIns::failNext;

const CFDictionary query = {
    {kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, "slot"}, {kSecReturnData, true}};

CFDictionary item(const Bytes& value) {
    CFDictionary attributes = query;
    attributes.push_back({kSecValueData, value});
    return attributes;
}

class AppleKeychain : public AppleDeviceTest {
  protected:
    SecItemResult result = Bytes{9};
};

TEST_F(AppleKeychain, GivesBackTheBytesThatWereAddedEvenIfThereAreNone) {
    for (const Bytes& bytes : {Bytes{1, 2, 3}, Bytes{}}) {
        EXPECT_EQ(SecItemAdd(item(bytes), &result), errSecSuccess);
        EXPECT_EQ(result, SecItemResult(bytes));
        result = {};
        EXPECT_EQ(SecItemCopyMatching(query, &result), errSecSuccess);
        EXPECT_EQ(result, SecItemResult(bytes));
        EXPECT_EQ(SecItemDelete(query), errSecSuccess);
    }
}

TEST_F(AppleKeychain, SaysWhetherThereIsAMatchWhereNoResultIsWanted) {
    EXPECT_EQ(SecItemCopyMatching(query, nullptr), errSecItemNotFound);
    EXPECT_EQ(SecItemAdd(item({7}), nullptr), errSecSuccess);
    EXPECT_EQ(SecItemCopyMatching(query, nullptr), errSecSuccess);
}

TEST_F(AppleKeychain, PassesTheStatusOfAFailureOnAndLeavesTheResult) {
    for (const OSStatus status : {errSecDuplicateItem, errSecInteractionNotAllowed, -34018}) {
        failNext("SecItemAdd", status);
        EXPECT_EQ(SecItemAdd(item({1}), &result), status);
        failNext("SecItemCopyMatching", status);
        EXPECT_EQ(SecItemCopyMatching(query, &result), status);
        failNext("SecItemDelete", status);
        EXPECT_EQ(SecItemDelete(query), status);
        EXPECT_EQ(result, SecItemResult(Bytes{9}));
    }
}

TEST_F(AppleKeychain, GivesNothingBackWhereTheFrameworkSucceedsWithNothingOrAnObjectOfAnotherType) {
    for (const AppleStandIns::Failure& ordered : {AppleStandIns::Failure(AppleStandIns::Nothing{}),
                                                  AppleStandIns::Failure(AppleStandIns::WrongType{})}) {
        failNext("SecItemCopyMatching", ordered);
        result = Bytes{9};
        EXPECT_EQ(SecItemCopyMatching(query, &result), errSecSuccess);
        EXPECT_EQ(result, SecItemResult());
        failNext("SecItemAdd", ordered);
        result = Bytes{9};
        EXPECT_EQ(SecItemAdd(item({1}), &result), errSecSuccess);
        EXPECT_EQ(result, SecItemResult());
    }
}

TEST_F(AppleKeychain, RefusesAMapThatCannotBeMadeWithoutAskingTheFramework) {
    const CFDictionary notUTF8 = {{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, "\xFF"}};
    EXPECT_EQ(SecItemAdd(notUTF8, nullptr), errSecParam);
    EXPECT_EQ(SecItemCopyMatching(notUTF8, &result), errSecParam);
    for (const CFDictionary& map : {notUTF8, CFDictionary{{kSecPrivateKeyAttrs, notUTF8}},
                                    CFDictionary{{kSecUseAuthenticationContext, LAContextRef()}},
                                    CFDictionary{{kSecAttrAccessControl, SecAccessControlRef()}}}) {
        EXPECT_EQ(SecItemDelete(map), errSecParam);
    }
    EXPECT_EQ(calls(), std::vector<std::string>{});
}

TEST_F(AppleKeychain, MakesEachMapEntryForEntryInOrder) {
    const auto context = std::make_shared<LAContext>(
        LAContext{CFRef<CFTypeRef>::adopting(AppleStandIns::createString(u"an object"))});
    SecItemDelete({{kSecClass, kSecClassKey},
                   {kSecAttrApplicationTag, Bytes{0x74, 0x61, 0x67}},
                   {kSecAttrAccount, "\uFEFFZoë"},
                   {kSecReturnRef, false},
                   {kSecUseAuthenticationContext, context}});
    EXPECT_EQ(calls(), std::vector<std::string>{
                           "SecItemDelete {kSecClass: kSecClassKey, kSecAttrApplicationTag: <746167>, "
                           "kSecAttrAccount: \"\uFEFFZoë\", kSecReturnRef: false, "
                           "kSecUseAuthenticationContext: \"an object\"}"});
}

}  // namespace
}  // namespace KavrelCrypto
