#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "platform/Security.hpp"
#include "platform/desktop/Keychain.hpp"
#include "platform/desktop/OpenSSL.hpp"

namespace KavrelCrypto {

/// A key, or the place in the keychain where one is kept: that one is read when it is first used and only
/// then, since most lookups only ask whether it is there. Any thread.
class SecKey {
  public:
    struct Material {
        Desktop::PKey key;
        bool isPrivate;
    };

    explicit SecKey(Material material);

    /// Item `id` of `keychain`.
    SecKey(std::shared_ptr<Desktop::Keychain> keychain, std::int64_t id);

    /// The key itself. Throws a Failure when its item is gone, damaged or out of reach.
    [[nodiscard]] const Material& material() const;

  private:
    std::shared_ptr<Desktop::Keychain> keychain_;
    std::int64_t id_ = 0;
    mutable std::mutex mutex_;
    mutable std::optional<Material> material_;
};

namespace Desktop {

/// The kind of item that a key of this kSecAttrKeyType and kSecAttrKeyClass is.
ItemKind keyKind(SecConstant type, SecConstant keyClass);

}  // namespace Desktop
}  // namespace KavrelCrypto
