#pragma once

#include <Security/Security.h>
#include <memory>
#include <openssl/evp.h>

#include "apple/standins/Object.hpp"

namespace AppleStandIns {

using PKey = std::shared_ptr<EVP_PKEY>;

struct KeyObject final : Object {
    KeyObject(PKey key_, bool isPrivate_) : Object(keyType), key(std::move(key_)), isPrivate(isPrivate_) {}
    [[nodiscard]] std::string text() const override;
    const PKey key;
    const bool isPrivate;
};

struct AccessControlObject final : Object {
    explicit AccessControlObject(std::string text) : Object(otherType), text_(std::move(text)) {}
    [[nodiscard]] std::string text() const override {
        return text_;
    }

  private:
    const std::string text_;
};

SecKeyRef makeKey(PKey key, bool isPrivate);

/// Puts one half of a pair into the keychain. `keyType` is one of the constants.
void storeKey(const PKey& key, bool isPrivate, CFTypeRef keyType, const DictionaryObject& attributes);

}  // namespace AppleStandIns
