#include "platform/desktop/Keychain.hpp"

#include <string>

#include "platform/desktop/Failure.hpp"
#include "platform/desktop/KeychainFile.hpp"
#include "platform/desktop/Sealing.hpp"

namespace KavrelCrypto::Desktop {
namespace {

std::int64_t number(ItemKind kind) {
    return static_cast<std::int64_t>(kind);
}

std::int64_t number(Accessibility accessibility) {
    return static_cast<std::int64_t>(accessibility);
}

std::int64_t number(bool flag) {
    return flag ? 1 : 0;
}

/// What a sealed secret is bound to: one that was moved to another item does not open there.
Bytes identity(ItemKind kind, Accessibility accessibility, const Bytes& name) {
    Bytes bytes;
    bytes.reserve(2 + name.size());
    bytes.push_back(static_cast<std::uint8_t>(kind));
    bytes.push_back(static_cast<std::uint8_t>(accessibility));
    bytes.insert(bytes.end(), name.begin(), name.end());
    return bytes;
}

/// Throws where the device's lock keeps everybody from items of this accessibility.
void requireReach(const DeviceState& state, Accessibility accessibility) {
    if (!state.firstUnlock) {
        throw Failure(errSecInteractionNotAllowed, "The device has not been unlocked since it was started.");
    }
    if (state.locked && (accessibility == Accessibility::whenUnlocked ||
                         accessibility == Accessibility::whenUnlockedThisDeviceOnly)) {
        throw Failure(errSecInteractionNotAllowed, "The device is locked.");
    }
}

}  // namespace

Keychain::Keychain(const std::filesystem::path& folder) : database_(openKeychainFile(folder)) {}

std::optional<std::int64_t> Keychain::find(const ItemQuery& query) {
    const std::lock_guard lock(mutex_);
    const Transaction transaction(database_, Transaction::reading);
    std::optional<std::int64_t> first;
    std::int64_t accessibility = 0;
    for (const ItemKind kind : query.kinds) {
        Statement match = matches("SELECT id, accessibility", kind, query.name, "ORDER BY id LIMIT 1");
        if (match.step() && (!first || match.integer(0) < *first)) {
            first = match.integer(0);
            accessibility = match.integer(1);
        }
    }
    if (first) {
        requireReach(readState(), Accessibility(accessibility));
    }
    return first;
}

std::optional<Item> Keychain::read(std::int64_t id) {
    const std::lock_guard lock(mutex_);
    const Transaction transaction(database_, Transaction::reading);
    Statement row(database_, "SELECT kind, name, accessibility, sealed FROM items WHERE id = ?1", {id});
    if (!row.step()) {
        return std::nullopt;
    }
    Item item{ItemKind(row.integer(0)), row.bytes(1), Accessibility(row.integer(2)), {}};
    requireReach(readState(), item.accessibility);
    std::optional<Bytes> secret = unseal(classKey(item.accessibility), row.bytes(3),
                                         identity(item.kind, item.accessibility, item.name));
    if (!secret) {
        throw Failure(errSecIO, "Item " + std::to_string(id) + " in " + database_.name() +
                                    " is damaged: its seal is broken. Delete it and make it anew.");
    }
    item.secret = std::move(*secret);
    return item;
}

void Keychain::add(const std::vector<Item>& items) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    const DeviceState state = readState();
    for (const Item& item : items) {
        requireReach(state, item.accessibility);
        if (item.kind == ItemKind::genericPassword) {
            Statement same = matches("SELECT accessibility", item.kind, item.name, "");
            if (same.step()) {
                requireReach(state, Accessibility(same.integer(0)));
                throw Failure(errSecDuplicateItem, "There is already a password of this account.");
            }
        }
        insert(item);
    }
    transaction.commit();
}

void Keychain::insert(const Item& item) {
    const Bytes sealed =
        seal(classKey(item.accessibility), item.secret, identity(item.kind, item.accessibility, item.name));
    Statement(database_, "INSERT INTO items (kind, name, accessibility, sealed) VALUES (?1, ?2, ?3, ?4)",
              {number(item.kind), BytesView(item.name), number(item.accessibility), BytesView(sealed)})
        .run();
}

bool Keychain::remove(const ItemQuery& query) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    const DeviceState state = readState();
    bool any = false;
    for (const ItemKind kind : query.kinds) {
        for (Statement match = matches("SELECT accessibility", kind, query.name, ""); match.step();
             any = true) {
            requireReach(state, Accessibility(match.integer(0)));
        }
    }
    if (any) {
        for (const ItemKind kind : query.kinds) {
            matches("DELETE", kind, query.name, "").run();
        }
        transaction.commit();
    }
    return any;
}

DeviceState Keychain::state() {
    const std::lock_guard lock(mutex_);
    return readState();
}

void Keychain::changeState(const std::function<void(DeviceState&)>& change) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    DeviceState state = readState();
    change(state);
    writeState(state);
    transaction.commit();
}

void Keychain::reset() {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    database_.execute("DELETE FROM items; DELETE FROM classKeys;");
    makeClassKeys(database_);
    writeState({});
    transaction.commit();
}

DeviceState Keychain::readState() {
    Statement row(
        database_,
        "SELECT biometry, enrolled, lockedOut, locked, firstUnlock, failedPrompts FROM state WHERE id = 0");
    if (!row.step()) {
        throw Failure(errSecIO, database_.name() + " is damaged: it holds no state. Move it away.");
    }
    return {.biometry = LABiometryType(row.integer(0)),
            .enrolled = row.integer(1) != 0,
            .lockedOut = row.integer(2) != 0,
            .locked = row.integer(3) != 0,
            .firstUnlock = row.integer(4) != 0,
            .failedPrompts = row.integer(5)};
}

Bytes Keychain::classKey(Accessibility accessibility) {
    Statement row(database_, "SELECT sealingKey FROM classKeys WHERE accessibility = ?1",
                  {number(accessibility)});
    if (!row.step()) {
        throw Failure(errSecIO, database_.name() + " is damaged: a sealing key is missing. Move it away.");
    }
    return row.bytes(0);
}

Statement Keychain::matches(std::string_view head, ItemKind kind, std::optional<BytesView> name,
                            std::string_view tail) {
    const std::string sql = std::string(head) + " FROM items WHERE kind = ?1 " +
                            (name ? "AND name = ?2 " : "") + std::string(tail);
    if (name) {
        return {database_, sql, {number(kind), *name}};
    }
    return {database_, sql, {number(kind)}};
}

void Keychain::writeState(const DeviceState& state) {
    Statement(database_,
              "UPDATE state SET biometry = ?1, enrolled = ?2, lockedOut = ?3, locked = ?4, firstUnlock = ?5, "
              "failedPrompts = ?6 WHERE id = 0",
              {static_cast<std::int64_t>(state.biometry), number(state.enrolled), number(state.lockedOut),
               number(state.locked), number(state.firstUnlock), state.failedPrompts})
        .run();
}

}  // namespace KavrelCrypto::Desktop
