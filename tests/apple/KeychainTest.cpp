// The keychain operations of the Apple device.

#include <gtest/gtest.h>

#include "apple/AppleDeviceTest.hpp"
#include "devices/apple/Handles.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {
namespace {

using AppleStandIns::calls;
using AppleStandIns::failNext;

class AppleKeychain : public AppleDeviceTest {
  protected:
    static CFDictionary item(const std::string& account, const Bytes& value) {
        return {{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, account}, {kSecValueData, value}};
    }

    static CFDictionary query(const std::string& account) {
        return {{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, account}, {kSecReturnData, true}};
    }
};

const CFDictionary notUTF8 = {{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, "\xFF"}};

TEST_F(AppleKeychain, GivesBackTheBytesThatWereAdded) {
    EXPECT_EQ(SecItemAdd(item("slot", {1, 2, 3}), nullptr), errSecSuccess);

    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult(Bytes{1, 2, 3}));
}

TEST_F(AppleKeychain, GivesBackAnEmptyValueAsNoBytes) {
    EXPECT_EQ(SecItemAdd(item("slot", {}), nullptr), errSecSuccess);

    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult(Bytes{}));
}

TEST_F(AppleKeychain, GivesTheAddedItemBackWhereItIsAskedFor) {
    CFDictionary attributes = item("slot", {7});
    attributes.push_back({kSecReturnData, true});

    SecItemResult result;
    EXPECT_EQ(SecItemAdd(attributes, &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult(Bytes{7}));
}

TEST_F(AppleKeychain, SaysWhetherThereIsAMatchWhereNoResultIsWanted) {
    EXPECT_EQ(SecItemCopyMatching(query("slot"), nullptr), errSecItemNotFound);
    CFDictionary attributes = item("slot", {7});
    attributes.push_back({kSecReturnData, true});
    EXPECT_EQ(SecItemAdd(attributes, nullptr), errSecSuccess);

    EXPECT_EQ(SecItemCopyMatching(query("slot"), nullptr), errSecSuccess);
}

TEST_F(AppleKeychain, DeletesWhatWasAdded) {
    SecItemAdd(item("slot", {1}), nullptr);

    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassGenericPassword}, {kSecAttrAccount, "slot"}}),
              errSecSuccess);
    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecItemNotFound);
}

TEST_F(AppleKeychain, PassesTheStatusOfAnAdditionOn) {
    SecItemAdd(item("slot", {1}), nullptr);

    SecItemResult result = Bytes{9};
    EXPECT_EQ(SecItemAdd(item("slot", {2}), &result), errSecDuplicateItem);
    EXPECT_EQ(result, SecItemResult(Bytes{9}));
}

TEST_F(AppleKeychain, PassesTheStatusOfALookupOnAndLeavesTheResult) {
    failNext("SecItemCopyMatching", errSecInteractionNotAllowed);

    SecItemResult result = Bytes{9};
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecInteractionNotAllowed);
    EXPECT_EQ(result, SecItemResult(Bytes{9}));
}

TEST_F(AppleKeychain, PassesTheStatusOfADeletionOn) {
    failNext("SecItemDelete", -34018);

    EXPECT_EQ(SecItemDelete(query("slot")), -34018);
}

TEST_F(AppleKeychain, GivesNothingBackWhenALookupSucceedsWithoutAResult) {
    failNext("SecItemCopyMatching", AppleStandIns::Nothing{});

    SecItemResult result = Bytes{9};
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult());
}

TEST_F(AppleKeychain, GivesNothingBackWhenALookupAnswersWithAnObjectOfAnotherType) {
    failNext("SecItemCopyMatching", AppleStandIns::WrongType{});

    SecItemResult result = Bytes{9};
    EXPECT_EQ(SecItemCopyMatching(query("slot"), &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult());
}

TEST_F(AppleKeychain, GivesNothingBackWhenAnAdditionAnswersWithAnObjectOfAnotherType) {
    failNext("SecItemAdd", AppleStandIns::WrongType{});

    SecItemResult result = Bytes{9};
    EXPECT_EQ(SecItemAdd(item("slot", {1}), &result), errSecSuccess);
    EXPECT_EQ(result, SecItemResult());
}

TEST_F(AppleKeychain, RefusesToAddATextThatIsNoUTF8) {
    EXPECT_EQ(SecItemAdd(notUTF8, nullptr), errSecParam);
    EXPECT_EQ(calls(), std::vector<std::string>{});
}

TEST_F(AppleKeychain, RefusesToLookUpATextThatIsNoUTF8) {
    SecItemResult result;
    EXPECT_EQ(SecItemCopyMatching(notUTF8, &result), errSecParam);
    EXPECT_EQ(calls(), std::vector<std::string>{});
}

TEST_F(AppleKeychain, RefusesToDeleteATextThatIsNoUTF8) {
    EXPECT_EQ(SecItemDelete(notUTF8), errSecParam);
    EXPECT_EQ(calls(), std::vector<std::string>{});
}

TEST_F(AppleKeychain, RefusesANestedMapThatCannotBeMade) {
    EXPECT_EQ(SecItemDelete({{kSecClass, kSecClassKey}, {kSecPrivateKeyAttrs, notUTF8}}), errSecParam);
}

TEST_F(AppleKeychain, RefusesAContextThatIsNotThere) {
    EXPECT_EQ(SecItemDelete({{kSecUseAuthenticationContext, LAContextRef()}}), errSecParam);
}

TEST_F(AppleKeychain, RefusesAnAccessControlThatIsNotThere) {
    EXPECT_EQ(SecItemDelete({{kSecAttrAccessControl, SecAccessControlRef()}}), errSecParam);
}

TEST_F(AppleKeychain, MakesEachMapEntryForEntryInOrder) {
    SecItemDelete({
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, Bytes{0x74, 0x61, 0x67}},
        {kSecAttrAccount, "\uFEFFZoë"},
        {kSecAttrIsPermanent, true},
        {kSecReturnRef, false},
        {kSecPrivateKeyAttrs, CFDictionary{{kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlock}}},
    });

    EXPECT_EQ(calls(), std::vector<std::string>{
                           "SecItemDelete {kSecClass: kSecClassKey, kSecAttrApplicationTag: <746167>, "
                           "kSecAttrAccount: \"\uFEFFZoë\", kSecAttrIsPermanent: true, kSecReturnRef: false, "
                           "kSecPrivateKeyAttrs: {kSecAttrAccessible: kSecAttrAccessibleAfterFirstUnlock}}"});
}

TEST_F(AppleKeychain, CarriesTheAuthenticationContextIntoTheLookup) {
    const auto context =
        std::make_shared<LAContext>(LAContext{CFRef<CFTypeRef>::adopting(AppleStandIns::createObject())});

    SecItemResult result;
    SecItemCopyMatching({{kSecClass, kSecClassKey},
                         {kSecUseAuthenticationContext, context},
                         {kSecUseAuthenticationUI, kSecUseAuthenticationUIAllow}},
                        &result);

    EXPECT_EQ(calls(), std::vector<std::string>{
                           "SecItemCopyMatching {kSecClass: kSecClassKey, kSecUseAuthenticationContext: "
                           "\"an object\", kSecUseAuthenticationUI: kSecUseAuthenticationUIAllow}"});
}

}  // namespace
}  // namespace KavrelCrypto
