#include <openssl/ec.h>
#include <openssl/rsa.h>

#include "devices/desktop/Attributes.hpp"
#include "devices/desktop/SecKey.hpp"

namespace KavrelCrypto {

/// What the desktop device observes of an access control: when its item can be reached.
class SecAccessControl {
  public:
    explicit SecAccessControl(Desktop::Accessibility accessibility) : accessibility_(accessibility) {}

    [[nodiscard]] Desktop::Accessibility accessibility() const {
        return accessibility_;
    }

  private:
    Desktop::Accessibility accessibility_;
};

namespace {

using namespace Desktop;

/// What the parameters say about one half of a pair.
struct HalfAttributes {
    bool isPermanent = false;
    Bytes tag;
    Accessibility accessibility = Accessibility::whenUnlocked;
};

struct Parameters {
    SecConstant keyType;
    std::int64_t bits;
    HalfAttributes privateHalf;
    HalfAttributes publicHalf;
};

Accessibility readAccessibility(Attributes& attributes) {
    const bool isNamed = attributes.take<SecConstant>(kSecAttrAccessible) != nullptr;
    const Accessibility named = attributes.accessibility();
    const auto* control = attributes.take<SecAccessControlRef>(kSecAttrAccessControl);
    if (control == nullptr) {
        return named;
    }
    if (*control == nullptr || (isNamed && (*control)->accessibility() != named)) {
        throw Attributes::failureOf(kSecAttrAccessControl, "is null or contradicts kSecAttrAccessible");
    }
    return (*control)->accessibility();
}

HalfAttributes readHalf(Attributes& parameters, SecConstant key) {
    HalfAttributes half;
    const auto* map = parameters.take<CFDictionary>(key);
    if (map != nullptr) {
        Attributes attributes(*map);
        half.isPermanent = attributes.flag(kSecAttrIsPermanent);
        if (const auto* tag = attributes.take<Bytes>(kSecAttrApplicationTag)) {
            half.tag = *tag;
        }
        half.accessibility = readAccessibility(attributes);
        attributes.finish();
    }
    return half;
}

void requireSize(SecConstant keyType, std::int64_t bits) {
    if (keyType == kSecAttrKeyTypeRSA && (bits < 512 || bits > 8192)) {
        throw Attributes::failureOf(kSecAttrKeySizeInBits,
                                    "is " + std::to_string(bits) + ", and RSA takes 512 to 8192 bits");
    }
    if (keyType == kSecAttrKeyTypeECSECPrimeRandom && bits != 256) {
        throw Attributes::failureOf(kSecAttrKeySizeInBits,
                                    "is " + std::to_string(bits) + ", and the only curve here is P-256");
    }
}

Parameters readParameters(const CFDictionary& map) {
    Attributes attributes(map);
    if (attributes.take<SecConstant>(kSecAttrTokenID) != nullptr) {
        throw Failure(errSecUnimplemented, "This device has no Secure Enclave.");
    }
    Parameters parameters{.keyType = attributes.require<SecConstant>(kSecAttrKeyType),
                          .bits = attributes.require<std::int64_t>(kSecAttrKeySizeInBits),
                          .privateHalf = readHalf(attributes, kSecPrivateKeyAttrs),
                          .publicHalf = readHalf(attributes, kSecPublicKeyAttrs)};
    attributes.take<bool>(kSecReturnRef);  // the reference is returned anyway
    attributes.finish();
    if (parameters.keyType != kSecAttrKeyTypeRSA && parameters.keyType != kSecAttrKeyTypeECSECPrimeRandom) {
        throw Attributes::failureOf(kSecAttrKeyType, "has an unknown value");
    }
    requireSize(parameters.keyType, parameters.bits);
    return parameters;
}

PKey generate(SecConstant keyType, std::int64_t bits) {
    PKey key(keyType == kSecAttrKeyTypeRSA ? EVP_RSA_gen(static_cast<std::size_t>(bits))
                                           : EVP_EC_gen("P-256"));
    if (key == nullptr) {
        throw openSSLFailure(errSecInternalComponent, "The key cannot be generated.");
    }
    return key;
}

void store(const Parameters& parameters, EVP_PKEY* key) {
    std::vector<Item> items;
    if (const HalfAttributes& half = parameters.privateHalf; half.isPermanent) {
        items.push_back({keyKind(parameters.keyType, kSecAttrKeyClassPrivate), half.tag, half.accessibility,
                         encode(i2d_PrivateKey, key)});
    }
    if (const HalfAttributes& half = parameters.publicHalf; half.isPermanent) {
        items.push_back({keyKind(parameters.keyType, kSecAttrKeyClassPublic), half.tag, half.accessibility,
                         encode(i2d_PUBKEY, key)});
    }
    if (!items.empty()) {
        currentKeychain()->add(items);
    }
}

}  // namespace

SecKeyRef SecKeyCreateRandomKey(const CFDictionary& parameters, std::optional<NSError>* error) {
    return resultOf(error, [&]() -> SecKeyRef {
        const Parameters read = readParameters(parameters);
        PKey key = generate(read.keyType, read.bits);
        store(read, key.get());
        return std::make_shared<const SecKey>(SecKey::Material{std::move(key), true});
    });
}

SecAccessControlRef SecAccessControlCreateWithFlags(SecConstant protection, SecAccessControlCreateFlags flags,
                                                    std::optional<NSError>* error) {
    return resultOf(error, [&]() -> SecAccessControlRef {
        const std::optional<Accessibility> accessibility = accessibilityNamed(protection);
        if (!accessibility) {
            throw Failure(errSecParam,
                          "The protection of an access control is one of the kSecAttrAccessible… constants.");
        }
        if ((flags & ~kSecAccessControlPrivateKeyUsage) != 0) {
            throw Failure(errSecParam,
                          "The only flag of an access control here is kSecAccessControlPrivateKeyUsage.");
        }
        return std::make_shared<const SecAccessControl>(*accessibility);
    });
}

}  // namespace KavrelCrypto
