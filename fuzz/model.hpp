#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>

#include "devices/desktop/Device.hpp"
#include "tests/plugin/OpenSSL.hpp"

/// What sequences of calls are to leave on the device.
namespace KavrelCrypto::Fuzz {

/// The people. The second has a blank more than the first, and the last is not in ASCII.
inline const std::array<std::string, 4> people = {"0012345678", "0012345678 ", "", "۰۰۱۲"};

/// The tags of one person's keys.
struct Tags {
    std::string privateKey;
    std::string publicKey;
};

inline Tags ownTags(const std::string& person) {
    return {"com.solbera.app.privatekey." + person, "com.solbera.app.publickey." + person};
}

inline Tags fallbackTags(const std::string& person) {
    return {"com.kavrel.app.privatekey" + person, "com.kavrel.app.publickey" + person};
}

/// What the device must hold.
struct Model {
    Desktop::DeviceState state;
    std::map<std::string, OpenSSL::Key> keys;  // by their tags
    std::optional<std::string> slot;

    /// Whether the keys of people can be reached, which are there when the device is unlocked.
    [[nodiscard]] bool isUnlocked() const {
        return !state.locked;
    }
    /// Whether the slot and the fallback keys can be reached.
    [[nodiscard]] bool wasUnlocked() const {
        return state.firstUnlock;
    }
    [[nodiscard]] bool sensorIsReady() const {
        return state.biometry != LABiometryType::none && state.enrolled && !state.lockedOut;
    }
    [[nodiscard]] const char* whyLocked() const {
        return wasUnlocked() ? "The device is locked."
                             : "The device has not been unlocked since it was started.";
    }
    [[nodiscard]] OpenSSL::Key key(const std::string& tag) const {
        const auto found = keys.find(tag);
        return found == keys.end() ? nullptr : found->second;
    }
    /// Returns the private key of a person, or null if it is missing or out of reach.
    [[nodiscard]] OpenSSL::Key privateKey(const std::string& person) const {
        return isUnlocked() ? key(ownTags(person).privateKey) : nullptr;
    }
    void setKey(const Tags& tags, const OpenSSL::Key& key) {
        keys[tags.privateKey] = key;
        keys[tags.publicKey] = key;
    }
};

}  // namespace KavrelCrypto::Fuzz
