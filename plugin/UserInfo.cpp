// How the plugin reads an identity record from the argument "userInfo".

#include "plugin/UserInfo.hpp"

#include "plugin/DigitalSignPlugin.hpp"

namespace KavrelCrypto {
namespace {

struct Field {
    std::string_view key;
    std::string UserInfo::*text;
};

constexpr Field fields[] = {
#define FIELD(name) {#name, &UserInfo::name},
    KAVREL_CRYPTO_USER_INFO(FIELD)
#undef FIELD
};

}  // namespace

// On purpose, all fourteen members are required, even those that the request does not use.
std::optional<UserInfo> DigitalSignPlugin::userInfo(const JSObject& from) {
    UserInfo user;
    for (const Field& field : fields) {
        const JSValue* value = from.find(field.key);
        const auto* text = value == nullptr ? nullptr : value->as<std::string>();
        if (text == nullptr) {
            return std::nullopt;
        }
        user.*field.text = *text;
    }
    return user;
}

}  // namespace KavrelCrypto
