#include "devices/desktop/Attributes.hpp"
#include "devices/desktop/SecKey.hpp"

namespace KavrelCrypto {
namespace {

using namespace Desktop;

bool isAbsentOr(const SecConstant* value, SecConstant wanted) {
    return value == nullptr || *value == wanted;
}

/// Throws unless the value of `key` is one of `first` and `second`.
void requireOneOf(SecConstant key, const SecConstant* value, SecConstant first, SecConstant second) {
    if (!isAbsentOr(value, first) && !isAbsentOr(value, second)) {
        throw Attributes::failureOf(key, "has an unknown value");
    }
}

ItemQuery keyQuery(Attributes& attributes) {
    const auto* tag = attributes.take<Bytes>(kSecAttrApplicationTag);
    const auto* type = attributes.take<SecConstant>(kSecAttrKeyType);
    const auto* keyClass = attributes.take<SecConstant>(kSecAttrKeyClass);
    requireOneOf(kSecAttrKeyType, type, kSecAttrKeyTypeRSA, kSecAttrKeyTypeECSECPrimeRandom);
    requireOneOf(kSecAttrKeyClass, keyClass, kSecAttrKeyClassPrivate, kSecAttrKeyClassPublic);
    ItemQuery query{.kinds = {}, .name = tag != nullptr ? std::optional(*tag) : std::nullopt};
    for (const SecConstant someType : {kSecAttrKeyTypeRSA, kSecAttrKeyTypeECSECPrimeRandom}) {
        for (const SecConstant someClass : {kSecAttrKeyClassPrivate, kSecAttrKeyClassPublic}) {
            if (isAbsentOr(type, someType) && isAbsentOr(keyClass, someClass)) {
                query.kinds.push_back(keyKind(someType, someClass));
            }
        }
    }
    return query;
}

ItemQuery passwordQuery(Attributes& attributes) {
    const auto* account = attributes.take<std::string>(kSecAttrAccount);
    return {.kinds = {ItemKind::genericPassword},
            .name = account != nullptr ? std::optional(bytesOf(*account)) : std::nullopt};
}

/// Reads the parameters that a lookup and a deletion have in common.
ItemQuery itemQuery(Attributes& attributes) {
    // No item here asks for authentication, so it does not matter who has been authenticated.
    attributes.take<LAContextRef>(kSecUseAuthenticationContext);
    if (!isAbsentOr(attributes.take<SecConstant>(kSecUseAuthenticationUI), kSecUseAuthenticationUIAllow)) {
        throw Attributes::failureOf(kSecUseAuthenticationUI, "has an unknown value");
    }
    switch (attributes.require<SecConstant>(kSecClass)) {
        case kSecClassKey:
            return keyQuery(attributes);
        case kSecClassGenericPassword:
            return passwordQuery(attributes);
        default:
            throw Attributes::failureOf(kSecClass, "has an unknown value");
    }
}

OSStatus copyMatching(const CFDictionary& map, SecItemResult* result) {
    Attributes attributes(map);
    const ItemQuery query = itemQuery(attributes);
    const bool areKeys = query.kinds.front() != ItemKind::genericPassword;
    const bool wanted = attributes.flag(areKeys ? kSecReturnRef : kSecReturnData);
    if (!isAbsentOr(attributes.take<SecConstant>(kSecMatchLimit), kSecMatchLimitOne)) {
        throw Attributes::failureOf(kSecMatchLimit, "has an unknown value");
    }
    attributes.finish();

    const std::shared_ptr<Keychain> keychain = currentKeychain();
    const std::optional<std::int64_t> id = keychain->find(query);
    if (!id) {
        return errSecItemNotFound;
    }
    SecItemResult found;
    if (wanted && areKeys) {
        found = std::make_shared<const SecKey>(keychain, *id);
    } else if (wanted) {
        std::optional<Item> item = keychain->read(*id);
        if (!item) {
            return errSecItemNotFound;
        }
        found = std::move(item->secret);
    }
    if (result != nullptr) {
        *result = std::move(found);
    }
    return errSecSuccess;
}

OSStatus add(const CFDictionary& map, SecItemResult* result) {
    Attributes attributes(map);
    if (attributes.require<SecConstant>(kSecClass) != kSecClassGenericPassword) {
        throw Attributes::failureOf(kSecClass, "names a class of which items are not added by value");
    }
    const Accessibility accessibility = attributes.accessibility();
    const Item item{.kind = ItemKind::genericPassword,
                    .name = bytesOf(attributes.require<std::string>(kSecAttrAccount)),
                    .accessibility = accessibility,
                    .secret = attributes.require<Bytes>(kSecValueData)};
    const bool wanted = attributes.flag(kSecReturnData);
    attributes.finish();

    currentKeychain()->add({&item, 1});
    if (result != nullptr) {
        *result = wanted ? SecItemResult(item.secret) : SecItemResult();
    }
    return errSecSuccess;
}

}  // namespace

OSStatus SecItemAdd(const CFDictionary& attributes, SecItemResult* result) {
    return statusOf([&] { return add(attributes, result); });
}

OSStatus SecItemCopyMatching(const CFDictionary& query, SecItemResult* result) {
    return statusOf([&] { return copyMatching(query, result); });
}

OSStatus SecItemDelete(const CFDictionary& query) {
    return statusOf([&] {
        Attributes attributes(query);
        const ItemQuery items = itemQuery(attributes);
        attributes.finish();
        return currentKeychain()->remove(items) ? errSecSuccess : errSecItemNotFound;
    });
}

}  // namespace KavrelCrypto
