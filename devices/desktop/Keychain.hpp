#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "devices/desktop/Device.hpp"
#include "devices/desktop/Failure.hpp"
#include "devices/desktop/KeychainFile.hpp"
#include "devices/desktop/SQLite.hpp"
#include "devices/desktop/Sealing.hpp"
#include "devices/desktop/ThreadSafety.hpp"
#include "text/Bytes.hpp"

namespace KavrelCrypto::Desktop {

/// The numbers are those in the database.
enum class ItemKind : std::int64_t {
    genericPassword = 1,
    rsaPublicKey = 2,
    rsaPrivateKey = 3,
    ecPublicKey = 4,
    ecPrivateKey = 5,
};

struct Item {
    ItemKind kind;
    Bytes name;  // a password's account, a key's application tag
    Accessibility accessibility;
    Bytes secret;
};

/// Matches the items that are of one of the kinds and have the name; every name matches if it is absent.
struct ItemQuery {
    std::vector<ItemKind> kinds;
    std::optional<Bytes> name;
};

/// The items and the state of one device, in a database that other processes may use at the same time. Every
/// change is one transaction. Any thread may call. An operation that cannot be carried out throws a Failure,
/// with errSecInteractionNotAllowed if the device is locked and that keeps the operation from an item.
class Keychain {
  public:
    /// Opens the keychain in `folder`, and makes it if it is missing. Throws a DeviceError if it cannot be
    /// used.
    explicit Keychain(const std::filesystem::path& folder);

    /// Returns the id of the matching item that was stored first, or an absent value if nothing matches.
    std::optional<std::int64_t> find(const ItemQuery& query);

    /// Returns the item with this id, or an absent value if it has been deleted.
    std::optional<Item> read(std::int64_t id);

    /// Stores all the items or none of them. There is one password for an account: a second one throws a
    /// Failure (errSecDuplicateItem).
    void add(std::span<const Item> items);

    /// Deletes every match. Returns false if there is none.
    bool remove(const ItemQuery& query);

    DeviceState state();

    /// Lets `change` change the state. The state stays as it was if `change` throws, or if no device can be
    /// in the new one: then a DeviceError is thrown.
    void changeState(const std::function<void(DeviceState&)>& change);

    /// Deletes all items and sets the state of a new device.
    void reset();

  private:
    [[nodiscard]] Failure damage(const std::string& what) const KAVREL_CRYPTO_REQUIRES(mutex_);
    DeviceState readState() KAVREL_CRYPTO_REQUIRES(mutex_);
    bool readFlag(const Statement& row, int column) KAVREL_CRYPTO_REQUIRES(mutex_);
    ItemKind readKind(const Statement& row, int column) KAVREL_CRYPTO_REQUIRES(mutex_);
    Accessibility readAccessibility(const Statement& row, int column) KAVREL_CRYPTO_REQUIRES(mutex_);
    SealingKey classKey(Accessibility accessibility) KAVREL_CRYPTO_REQUIRES(mutex_);
    void insert(const Item& item) KAVREL_CRYPTO_REQUIRES(mutex_);
    Statement matches(std::string_view head, ItemKind kind, std::optional<BytesView> name,
                      std::string_view tail) KAVREL_CRYPTO_REQUIRES(mutex_);
    void writeState(const DeviceState& state) KAVREL_CRYPTO_REQUIRES(mutex_);

    std::mutex mutex_;
    Database database_ KAVREL_CRYPTO_GUARDED_BY(mutex_);
};

/// Returns the keychain of this process's device. Opens the default device if none is open; throws a
/// DeviceError if that fails. The keychain stays open for its holders even if the process opens another
/// device.
std::shared_ptr<Keychain> currentKeychain();

/// Creates the static object that holds the current device. A static object that is created after this call
/// is destroyed earlier, so its destructor may still use the device.
void prepareCurrentDevice();

}  // namespace KavrelCrypto::Desktop
