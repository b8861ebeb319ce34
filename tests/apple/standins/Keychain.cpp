#include <Security/Security.h>
#include <algorithm>
#include <functional>
#include <map>
#include <mutex>

#include "apple/standins/Object.hpp"

namespace AppleStandIns {
namespace {

using Attributes = std::map<std::string, std::string>;  // both as text

/// What is stored is plain values, so that the account of objects is that of the caller alone.
struct Item {
    Attributes attributes;
    std::variant<Bytes, Key> content;
};

std::mutex keychainMutex;
std::vector<Item> items;

// Attributes that say what to do and not what an item is like.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool isInstruction(CFTypeRef key) {
    return key == kSecReturnRef || key == kSecReturnData || key == kSecMatchLimit || key == kSecValueData ||
           key == kSecUseAuthenticationContext || key == kSecUseAuthenticationUI ||
           key == kSecAttrIsPermanent;
}
#pragma GCC diagnostic pop

Attributes attributesOf(const Dictionary& dictionary) {
    Attributes attributes;
    for (const auto& [key, value] : dictionary.entries) {
        if (!isInstruction(key)) {
            attributes.emplace(textOf(key), textOf(value.get()));
        }
    }
    return attributes;
}

bool matches(const Item& item, const Attributes& query) {
    return std::all_of(query.begin(), query.end(), [&](const auto& attribute) {
        const auto found = item.attributes.find(attribute.first);
        return found != item.attributes.end() && found->second == attribute.second;
    });
}

/// What is given back of an item, as the query's instructions say; null where they say nothing.
CFTypeRef resultOf(const Item& item, const Dictionary& query) {
    const bool isKey = std::holds_alternative<Key>(item.content);
    if (query.find(isKey ? kSecReturnRef : kSecReturnData) != kCFBooleanTrue) {
        return nullptr;
    }
    return std::visit([](const auto& content) { return makeObject(content); }, item.content);
}

using Work = std::function<OSStatus(const Dictionary& asked, const Attributes& attributes)>;

/// Does the work of a keychain operation, unless a failure is ordered: its status, or success with a wrong
/// result.
OSStatus perform(const std::string& operation, CFDictionaryRef map, CFTypeRef* result, const Work& work) {
    record(operation, {map});
    const auto& asked = as<Dictionary>(map);
    if (const std::optional<Failure> failure = takeFailure(operation)) {
        if (const auto* status = std::get_if<OSStatus>(&*failure)) {
            return *status;
        }
        *result = std::holds_alternative<WrongType>(*failure) ? createString(u"of another type") : nullptr;
        return errSecSuccess;
    }
    const Attributes attributes = attributesOf(asked);
    if (!attributes.contains("kSecClass")) {
        return errSecParam;
    }
    const std::lock_guard lock(keychainMutex);
    return work(asked, attributes);
}

}  // namespace

void startNew() {
    startNewSensor();
    forgetCalls();
    const std::lock_guard lock(keychainMutex);
    items.clear();
}

void storeKey(const Key& half, CFTypeRef keyType, const Dictionary& attributes) {
    Item item{.attributes = attributesOf(attributes), .content = half};
    item.attributes.emplace("kSecClass", "kSecClassKey");
    item.attributes.emplace("kSecAttrKeyType", textOf(keyType));
    item.attributes.emplace("kSecAttrKeyClass",
                            half.isPrivate ? "kSecAttrKeyClassPrivate" : "kSecAttrKeyClassPublic");
    const std::lock_guard lock(keychainMutex);
    items.push_back(std::move(item));
}

}  // namespace AppleStandIns

using namespace AppleStandIns;

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef* result) {
    return perform("SecItemAdd", attributes, result, [&](const auto& asked, const auto& itsAttributes) {
        const CFTypeRef data = asked.find(kSecValueData);
        if (asked.find(kSecClass) != kSecClassGenericPassword || data == nullptr) {
            return errSecParam;
        }
        const Attributes identity = {{"kSecClass", "kSecClassGenericPassword"},
                                     {"kSecAttrAccount", itsAttributes.at("kSecAttrAccount")}};
        if (std::any_of(items.begin(), items.end(),
                        [&](const Item& other) { return matches(other, identity); })) {
            return errSecDuplicateItem;
        }
        items.push_back({itsAttributes, as<Bytes>(data)});
        if (result != nullptr) {
            *result = resultOf(items.back(), asked);
        }
        return errSecSuccess;
    });
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
    return perform("SecItemCopyMatching", query, result, [&](const auto& asked, const auto& attributes) {
        if (result == nullptr) {
            return errSecParam;
        }
        const auto item = std::find_if(items.begin(), items.end(),
                                       [&](const Item& each) { return matches(each, attributes); });
        if (item == items.end()) {
            return errSecItemNotFound;
        }
        *result = resultOf(*item, asked);
        return errSecSuccess;
    });
}

OSStatus SecItemDelete(CFDictionaryRef query) {
    return perform("SecItemDelete", query, nullptr, [](const auto&, const auto& attributes) {
        const auto deleted =
            std::erase_if(items, [&](const Item& each) { return matches(each, attributes); });
        return deleted == 0 ? errSecItemNotFound : errSecSuccess;
    });
}
