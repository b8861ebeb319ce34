#include "tests/faults/MemoryPhone.hpp"

#include <algorithm>
#include <string_view>

namespace KavrelCrypto {
namespace {

constexpr std::string_view certificateMark = "certificate of pair ";

}  // namespace

std::string nameIn(const CFDictionary& map) {
    if (const auto* tag = valueIn<Bytes>(map, kSecAttrApplicationTag)) {
        return {tag->begin(), tag->end()};
    }
    const auto* account = valueIn<std::string>(map, kSecAttrAccount);
    return account == nullptr ? std::string() : *account;
}

bool MemoryPhone::matches(const Item& item, const CFDictionary& query) {
    const auto* key = std::get_if<SecKeyRef>(&item.value);
    const bool isKeyWanted = *valueIn<SecConstant>(query, kSecClass) == kSecClassKey;
    if (item.name != nameIn(query) || isKeyWanted != (key != nullptr)) {
        return false;
    }
    const auto* half = valueIn<SecConstant>(query, kSecAttrKeyClass);
    return half == nullptr || (*half == kSecAttrKeyClassPrivate) == (*key)->isPrivate;
}

OSStatus MemoryPhone::add(const CFDictionary& attributes) {
    if (copyMatching(attributes, nullptr) == errSecSuccess) {
        return errSecDuplicateItem;
    }
    items_.push_back({nameIn(attributes), *valueIn<Bytes>(attributes, kSecValueData)});
    return errSecSuccess;
}

OSStatus MemoryPhone::copyMatching(const CFDictionary& query, SecItemResult* result) const {
    for (const Item& item : items_) {
        if (matches(item, query)) {
            if (result != nullptr) {
                std::visit([&](const auto& value) { *result = value; }, item.value);
            }
            return errSecSuccess;
        }
    }
    return errSecItemNotFound;
}

OSStatus MemoryPhone::remove(const CFDictionary& query) {
    const auto count = std::erase_if(items_, [&](const Item& item) { return matches(item, query); });
    return count > 0 ? errSecSuccess : errSecItemNotFound;
}

SecKeyRef MemoryPhone::createRandomKey(const CFDictionary& parameters) {
    ++pairs_;
    const std::string privateTag = nameIn(*valueIn<CFDictionary>(parameters, kSecPrivateKeyAttrs));
    addKey(privateTag, pairs_, true);
    SecKeyRef privateKey = std::get<SecKeyRef>(items_.back().value);
    addKey(nameIn(*valueIn<CFDictionary>(parameters, kSecPublicKeyAttrs)), pairs_, false);
    return privateKey;
}

void MemoryPhone::createHalf(const CFDictionary& parameters, bool isPrivate) {
    const SecConstant half = isPrivate ? kSecPrivateKeyAttrs : kSecPublicKeyAttrs;
    addKey(nameIn(*valueIn<CFDictionary>(parameters, half)), ++pairs_, isPrivate);
}

void MemoryPhone::addKey(const std::string& tag, int pair, bool isPrivate) {
    items_.push_back({tag, std::make_shared<const SecKey>(pair, isPrivate)});
}

void MemoryPhone::addPassword(const std::string& account, const std::string& value) {
    items_.push_back({account, bytesOf(value)});
}

std::vector<std::string> MemoryPhone::items() const {
    std::vector<std::string> lines;
    for (const Item& item : items_) {
        if (const auto* key = std::get_if<SecKeyRef>(&item.value)) {
            lines.push_back(item.name + " = " + ((*key)->isPrivate ? "private " : "public ") +
                            std::to_string((*key)->pair));
        } else {
            const auto& bytes = std::get<Bytes>(item.value);
            lines.push_back(item.name + " = " + std::string(bytes.begin(), bytes.end()));
        }
    }
    return lines;
}

bool MemoryPhone::hasKeysInUse() const {
    return std::any_of(items_.begin(), items_.end(), [](const Item& item) {
        const auto* key = std::get_if<SecKeyRef>(&item.value);
        return key != nullptr && key->use_count() > 1;
    });
}

SecKeyRef MemoryPhone::publicHalf(int pair) {
    return std::make_shared<const SecKey>(pair, false);
}

Bytes MemoryPhone::publicKey(int pair) {
    Bytes key{0x30, 0x82, 0x01, 0x0A, 0x02, 0x82, 0x01, 0x01, 0x00};
    key.insert(key.end(), 256, static_cast<std::uint8_t>(pair));
    append(Bytes{0x02, 0x03, 0x01, 0x00, 0x01}, key);
    return key;
}

Bytes MemoryPhone::signature(int pair, BytesView data) {
    Bytes bytes(256, static_cast<std::uint8_t>(pair));
    for (std::size_t i = 0; i < data.size(); ++i) {
        std::uint8_t& byte = bytes[1 + i % 255];  // the first byte is the pair
        byte = static_cast<std::uint8_t>(byte * 31U ^ data[i]);
    }
    return bytes;
}

Bytes MemoryPhone::certificate(int pair) {
    return bytesOf(std::string(certificateMark) + std::to_string(pair));
}

SecCertificateRef MemoryPhone::certificateIn(BytesView data) {
    const std::string text(data.begin(), data.end());
    const bool isCertificate = text.starts_with(certificateMark);
    return std::make_shared<const SecCertificate>(
        isCertificate ? std::stoi(text.substr(certificateMark.size())) : 0);
}

}  // namespace KavrelCrypto
