#include "tests/component/Scripts.hpp"

#include <utility>

#include "plugin/UserInfo.hpp"
#include "tests/support/Hex.hpp"

namespace KavrelCrypto {
namespace {

using testing::NotNull;
using testing::Return;

CFDictionary pairDeletion(const std::string& tag, SecConstant keyClass) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, bytesOf(tag)},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeyClass, keyClass},
    };
}

}  // namespace

CFDictionary keyLookup(const std::string& tag) {
    return {
        {kSecClass, kSecClassKey},
        {kSecAttrApplicationTag, bytesOf(tag)},
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecReturnRef, true},
    };
}

void expectKeyLookup(Script& device, const std::string& tag, SecKeyRef key) {
    auto& lookup = EXPECT_CALL(device, SecItemCopyMatching(keyLookup(tag), NotNull()));
    if (key == nullptr) {
        lookup.WillOnce(Return(errSecItemNotFound));
    } else {
        lookup.WillOnce(givesBack(std::move(key)));
    }
}

void expectPairDeletion(Script& device, const std::string& alias, OSStatus privateStatus,
                        OSStatus publicStatus) {
    EXPECT_CALL(device,
                SecItemDelete(pairDeletion("com.solbera.app.privatekey." + alias, kSecAttrKeyClassPrivate)))
        .WillOnce(Return(privateStatus));
    EXPECT_CALL(device,
                SecItemDelete(pairDeletion("com.solbera.app.publickey." + alias, kSecAttrKeyClassPublic)))
        .WillOnce(Return(publicStatus));
    EXPECT_CALL(device, print("🔑 forceDeleteAllKeys private status: " + std::to_string(privateStatus)));
    EXPECT_CALL(device, print("🔑 forceDeleteAllKeys public  status: " + std::to_string(publicStatus)));
}

CFDictionary pairParameters(const std::string& alias) {
    return {
        {kSecAttrKeyType, kSecAttrKeyTypeRSA},
        {kSecAttrKeySizeInBits, std::int64_t{2048}},
        {kSecPrivateKeyAttrs,
         CFDictionary{{kSecAttrIsPermanent, true},
                      {kSecAttrApplicationTag, bytesOf("com.solbera.app.privatekey." + alias)},
                      {kSecAttrAccessible, kSecAttrAccessibleWhenUnlockedThisDeviceOnly}}},
        {kSecPublicKeyAttrs,
         CFDictionary{{kSecAttrIsPermanent, true},
                      {kSecAttrApplicationTag, bytesOf("com.solbera.app.publickey." + alias)}}},
    };
}

JSObject createCSRArguments(const std::string& nationalCode) {
#define FIELD(name) {#name, nationalCode},
    return {{"userInfo", JSObject{KAVREL_CRYPTO_USER_INFO(FIELD)}}};
#undef FIELD
}

NSError managerError(std::int64_t code, const std::string& message) {
    return {.domain = "SecureKeyManager", .code = code, .userInfo = {{"NSLocalizedDescription", message}}};
}

NSError errorPrintedAsPrinted() {
    return {.domain = "D", .code = 1, .userInfo = {}, .printedForm = "printed"};
}

}  // namespace KavrelCrypto
