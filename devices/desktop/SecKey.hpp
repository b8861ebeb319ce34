#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "devices/desktop/Keychain.hpp"
#include "devices/desktop/OpenSSL.hpp"
#include "platform/Security.hpp"

namespace KavrelCrypto {

/// A key, or a reference to one in the keychain. A key in the keychain is read when it is first used, since
/// most lookups only ask whether it exists. Any thread may use it.
class SecKey {
  public:
    struct Material {
        Desktop::PKey key;
        bool isPrivate;
    };

    explicit SecKey(Material material);

    /// Refers to item `id` of `keychain`.
    SecKey(std::shared_ptr<Desktop::Keychain> keychain, std::int64_t id);

    /// Returns the key itself. Throws a Failure if its item is gone, damaged or out of reach.
    [[nodiscard]] const Material& material() const;

  private:
    std::shared_ptr<Desktop::Keychain> keychain_;
    std::int64_t id_ = 0;
    mutable std::mutex mutex_;
    mutable std::optional<Material> material_;
};

namespace Desktop {

/// Returns the kind of item that holds a key of this kSecAttrKeyType and kSecAttrKeyClass.
ItemKind keyKind(SecConstant type, SecConstant keyClass);

}  // namespace Desktop
}  // namespace KavrelCrypto
