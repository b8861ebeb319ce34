#include "devices/desktop/Keychain.hpp"

#include <algorithm>
#include <string>

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

/// Returns what a sealed secret is bound to, so that it does not open in another item.
Bytes identity(ItemKind kind, Accessibility accessibility, const Bytes& name) {
    Bytes bytes(2 + name.size());
    bytes[0] = static_cast<std::uint8_t>(kind);
    bytes[1] = static_cast<std::uint8_t>(accessibility);
    std::copy(name.begin(), name.end(), bytes.begin() + 2);
    return bytes;
}

/// Throws a Failure if the device is locked in such a way that items of this accessibility are out of reach.
void requireReach(const DeviceState& state, Accessibility accessibility) {
    if (!state.firstUnlock) {
        throw Failure(errSecInteractionNotAllowed, "The device has not been unlocked since it was started.");
    }
    if (state.locked && (accessibility == Accessibility::whenUnlocked ||
                         accessibility == Accessibility::whenUnlockedThisDeviceOnly)) {
        throw Failure(errSecInteractionNotAllowed, "The device is locked.");
    }
}

bool isKind(LABiometryType type) {
    return type == LABiometryType::none || type == LABiometryType::touchID ||
           type == LABiometryType::faceID || type == LABiometryType::opticID;
}

/// Returns why no device can be in `state`, or null if one can.
const char* contradiction(const DeviceState& state) {
    if (!isKind(state.biometry)) {
        return "There is no such kind of biometric sensor.";
    }
    if (!state.locked && !state.firstUnlock) {
        return "A device that has not been unlocked since it was started is locked: locked=false does not go "
               "with firstUnlock=false.";
    }
    if (state.failedPrompts < 0 || state.failedPrompts > promptsBeforeLockout) {
        return "The number of failed prompts is not possible.";
    }
    return nullptr;
}

}  // namespace

Keychain::Keychain(const std::filesystem::path& folder) : database_(openKeychainFile(folder)) {
    // Damage should show now, and not when a key has been deleted and no new one can be stored.
    readState();
    for (const Accessibility accessibility : allAccessibilities) {
        classKey(accessibility);
    }
}

std::optional<std::int64_t> Keychain::find(const ItemQuery& query) {
    const std::lock_guard lock(mutex_);
    const Transaction transaction(database_, Transaction::reading);
    std::optional<std::int64_t> first;
    Accessibility accessibility{};
    for (const ItemKind kind : query.kinds) {
        Statement match = matches("SELECT id, accessibility", kind, query.name, "ORDER BY id LIMIT 1");
        if (match.step() && (!first || match.integer(0) < *first)) {
            first = match.integer(0);
            accessibility = readAccessibility(match, 1);
        }
    }
    if (first) {
        requireReach(readState(), accessibility);
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
    Item item{readKind(row, 0), row.bytes(1), readAccessibility(row, 2), {}};
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

void Keychain::add(std::span<const Item> items) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    const DeviceState state = readState();
    for (const Item& item : items) {
        requireReach(state, item.accessibility);
        if (item.kind == ItemKind::genericPassword) {
            Statement same = matches("SELECT accessibility", item.kind, item.name, "");
            if (same.step()) {
                requireReach(state, readAccessibility(same, 0));
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
            requireReach(state, readAccessibility(match, 0));
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
    const Transaction transaction(database_, Transaction::reading);
    return readState();
}

void Keychain::changeState(const std::function<void(DeviceState&)>& change) {
    const std::lock_guard lock(mutex_);
    Transaction transaction(database_, Transaction::changing);
    DeviceState state = readState();
    change(state);
    if (const char* reason = contradiction(state)) {
        throw DeviceError(reason);
    }
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

Failure Keychain::damage(const std::string& what) const {
    return {errSecIO,
            database_.name() + " is damaged: " + what + ". Move it away, or choose another folder."};
}

DeviceState Keychain::readState() {
    Statement row(
        database_,
        "SELECT biometry, enrolled, lockedOut, locked, firstUnlock, failedPrompts FROM state WHERE id = 0");
    if (!row.step()) {
        throw damage("it holds no state");
    }
    const DeviceState state{.biometry = static_cast<LABiometryType>(row.integer(0)),
                            .enrolled = readFlag(row, 1),
                            .lockedOut = readFlag(row, 2),
                            .locked = readFlag(row, 3),
                            .firstUnlock = readFlag(row, 4),
                            .failedPrompts = row.integer(5)};
    if (contradiction(state) != nullptr) {
        throw damage("no device can be in the state that it holds");
    }
    return state;
}

bool Keychain::readFlag(const Statement& row, int column) {
    const std::int64_t value = row.integer(column);
    if (value != 0 && value != 1) {
        throw damage("no device can be in the state that it holds");
    }
    return value == 1;
}

ItemKind Keychain::readKind(const Statement& row, int column) {
    const auto kind = static_cast<ItemKind>(row.integer(column));
    if (kind < ItemKind::genericPassword || kind > ItemKind::ecPrivateKey) {
        throw damage("an item is of no known kind");
    }
    return kind;
}

Accessibility Keychain::readAccessibility(const Statement& row, int column) {
    const auto accessibility = static_cast<Accessibility>(row.integer(column));
    if (std::find(allAccessibilities.begin(), allAccessibilities.end(), accessibility) ==
        allAccessibilities.end()) {
        throw damage("an item has no known accessibility");
    }
    return accessibility;
}

SealingKey Keychain::classKey(Accessibility accessibility) {
    Statement row(database_, "SELECT sealingKey FROM classKeys WHERE accessibility = ?1",
                  {number(accessibility)});
    if (!row.step()) {
        throw damage("a sealing key is missing");
    }
    const Bytes bytes = row.bytes(0);
    SealingKey key{};
    if (bytes.size() != key.size()) {
        throw damage("a sealing key has the wrong length");
    }
    std::copy(bytes.begin(), bytes.end(), key.begin());
    return key;
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
