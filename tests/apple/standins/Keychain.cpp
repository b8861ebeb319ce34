#include <Security/Security.h>
#include <algorithm>
#include <map>
#include <mutex>

#include "apple/standins/Keys.hpp"

namespace AppleStandIns {
namespace {

/// What is stored is plain values, so that the account of references is that of the caller alone.
struct Item {
    std::map<std::string, std::string> attributes;  // both as text
    std::vector<std::uint8_t> data;
    PKey key;
    bool isPrivate = false;
};

struct Keychain {
    std::mutex mutex;
    std::vector<Item> items;
};

Keychain& keychain() {
    static auto& instance = *new Keychain;
    return instance;
}

// Attributes that say what to do and not what an item is like.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool isInstruction(CFTypeRef key) {
    return key == kSecReturnRef || key == kSecReturnData || key == kSecMatchLimit || key == kSecValueData ||
           key == kSecUseAuthenticationContext || key == kSecUseAuthenticationUI ||
           key == kSecAttrIsPermanent;
}
#pragma GCC diagnostic pop

/// Stops at an attribute whose value is of a type that the keychain would not match.
void checkType(CFTypeRef key, CFTypeRef value) {
    if (key == kSecAttrApplicationTag || key == kSecValueData) {
        as<DataObject>(value);
    } else if (key == kSecAttrAccount) {
        unitsOf(value);
    } else if (key == kSecReturnRef || key == kSecReturnData || key == kSecAttrIsPermanent) {
        as<BooleanObject>(value);
    } else if (key == kSecPrivateKeyAttrs || key == kSecPublicKeyAttrs) {
        as<DictionaryObject>(value);
    } else if (key == kSecAttrAccessControl) {
        as<AccessControlObject>(value);
    } else if (key != kSecUseAuthenticationContext) {
        as<ConstantObject>(value);
    }
}

std::map<std::string, std::string> attributesOf(const DictionaryObject& dictionary) {
    std::map<std::string, std::string> attributes;
    for (const auto& [key, value] : dictionary.entries) {
        checkType(key, value);
        if (!isInstruction(key)) {
            attributes.emplace(textOf(key), textOf(value));
        }
    }
    return attributes;
}

bool matches(const Item& item, const std::map<std::string, std::string>& query) {
    return std::all_of(query.begin(), query.end(), [&](const auto& attribute) {
        const auto found = item.attributes.find(attribute.first);
        return found != item.attributes.end() && found->second == attribute.second;
    });
}

/// What is given back of an item, as the query's instructions say; null where they say nothing.
CFTypeRef resultOf(const Item& item, const DictionaryObject& query) {
    if (query.find(kSecReturnRef) == kCFBooleanTrue && item.key != nullptr) {
        return makeKey(item.key, item.isPrivate);
    }
    if (query.find(kSecReturnData) == kCFBooleanTrue) {
        return new DataObject(item.data);
    }
    return nullptr;
}

/// Takes an ordered failure of a keychain operation: its status, and where that is success a wrong result.
std::optional<OSStatus> failureOf(const std::string& operation, CFTypeRef* result) {
    const std::optional<Failure> failure = takeFailure(operation);
    if (!failure.has_value()) {
        return std::nullopt;
    }
    if (const auto* status = std::get_if<OSStatus>(&*failure)) {
        return *status;
    }
    if (result == nullptr || std::holds_alternative<Error>(*failure)) {
        fault(operation + " has no such way to fail");
    }
    *result = std::holds_alternative<WrongType>(*failure) ? createObject() : nullptr;
    return errSecSuccess;
}

}  // namespace

void startNew() {
    forgetCalls();
    const std::lock_guard lock(keychain().mutex);
    keychain().items.clear();
}

void storeKey(const PKey& key, bool isPrivate, CFTypeRef keyType, const DictionaryObject& attributes) {
    Item item{.attributes = attributesOf(attributes), .data = {}, .key = key, .isPrivate = isPrivate};
    item.attributes.emplace("kSecClass", "kSecClassKey");
    item.attributes.emplace("kSecAttrKeyType", textOf(keyType));
    item.attributes.emplace("kSecAttrKeyClass",
                            isPrivate ? "kSecAttrKeyClassPrivate" : "kSecAttrKeyClassPublic");
    const std::lock_guard lock(keychain().mutex);
    keychain().items.push_back(std::move(item));
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef* result) {
    record("SecItemAdd", {attributes});
    const auto& asked = as<DictionaryObject>(attributes);
    if (const auto status = failureOf("SecItemAdd", result)) {
        return *status;
    }
    Item item{.attributes = attributesOf(asked), .data = {}, .key = nullptr};
    const CFTypeRef data = asked.find(kSecValueData);
    if (asked.find(kSecClass) != kSecClassGenericPassword || data == nullptr) {
        return errSecParam;
    }
    item.data = as<DataObject>(data).bytes;
    const std::lock_guard lock(keychain().mutex);
    const std::map<std::string, std::string> identity = {
        {"kSecClass", item.attributes["kSecClass"]}, {"kSecAttrAccount", item.attributes["kSecAttrAccount"]}};
    const std::vector<Item>& items = keychain().items;
    if (std::any_of(items.begin(), items.end(),
                    [&](const Item& other) { return matches(other, identity); })) {
        return errSecDuplicateItem;
    }
    if (result != nullptr) {
        *result = resultOf(item, asked);
    }
    keychain().items.push_back(std::move(item));
    return errSecSuccess;
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
    record("SecItemCopyMatching", {query});
    const auto& asked = as<DictionaryObject>(query);
    if (const auto status = failureOf("SecItemCopyMatching", result)) {
        return *status;
    }
    const auto attributes = attributesOf(asked);
    if (asked.find(kSecClass) == nullptr || result == nullptr) {
        return errSecParam;
    }
    const std::lock_guard lock(keychain().mutex);
    const std::vector<Item>& items = keychain().items;
    const auto item =
        std::find_if(items.begin(), items.end(), [&](const Item& each) { return matches(each, attributes); });
    if (item == items.end()) {
        return errSecItemNotFound;
    }
    *result = resultOf(*item, asked);
    return errSecSuccess;
}

OSStatus SecItemDelete(CFDictionaryRef query) {
    record("SecItemDelete", {query});
    const auto& asked = as<DictionaryObject>(query);
    if (const auto status = failureOf("SecItemDelete", nullptr)) {
        return *status;
    }
    const auto attributes = attributesOf(asked);
    if (asked.find(kSecClass) == nullptr) {
        return errSecParam;
    }
    const std::lock_guard lock(keychain().mutex);
    const auto deleted =
        std::erase_if(keychain().items, [&](const Item& each) { return matches(each, attributes); });
    return deleted == 0 ? errSecItemNotFound : errSecSuccess;
}
