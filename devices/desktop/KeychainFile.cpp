#include "devices/desktop/KeychainFile.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <new>
#include <string_view>
#include <unistd.h>

#include "devices/desktop/DeviceFolder.hpp"
#include "devices/desktop/Failure.hpp"
#include "devices/desktop/FolderLock.hpp"
#include "devices/desktop/Sealing.hpp"
#include "devices/desktop/Sync.hpp"

namespace KavrelCrypto::Desktop {
namespace {

namespace fs = std::filesystem;

// How the file of a database begins, up to and including a zero byte, and two numbers in its header
// (sqlite.org/fileformat).
constexpr char magic[] = "SQLite format 3";
constexpr std::int64_t applicationId = 0x4B56524C;  // "KVRL"
constexpr std::int64_t formatVersion = 1;

// No id is used twice (AUTOINCREMENT): a key reference names its item by the id, and must not find another
// item there later.
constexpr const char* schema = R"sql(
    PRAGMA auto_vacuum = FULL;  -- the file shrinks when something large is gone
    PRAGMA application_id = 0x4B56524C;
    PRAGMA user_version = 1;

    CREATE TABLE state (
        id            INTEGER PRIMARY KEY CHECK (id = 0),
        biometry      INTEGER NOT NULL,  -- 0 none, 1 Touch ID, 2 Face ID, 4 Optic ID
        enrolled      INTEGER NOT NULL,
        lockedOut     INTEGER NOT NULL,
        locked        INTEGER NOT NULL,
        firstUnlock   INTEGER NOT NULL,
        failedPrompts INTEGER NOT NULL   -- in a row, since the last match
    ) STRICT;

    CREATE TABLE classKeys (
        accessibility INTEGER PRIMARY KEY,
        sealingKey    BLOB NOT NULL
    ) STRICT;

    CREATE TABLE items (
        id            INTEGER PRIMARY KEY AUTOINCREMENT,
        kind          INTEGER NOT NULL,  -- 1 password; 2 public, 3 private key of RSA; 4 public, 5 private of P-256
        name          BLOB NOT NULL,     -- a password's account, a key's application tag
        accessibility INTEGER NOT NULL,
        sealed        BLOB NOT NULL
    ) STRICT;
    CREATE INDEX itemsByName ON items (kind, name);
    CREATE INDEX itemsByKind ON items (kind);
)sql";

/// Returns the content of the file of a new keychain.
Bytes newKeychain() {
    Database database = Database::inMemory();
    database.execute(schema);
    database.execute("INSERT INTO state VALUES (0, 2, 1, 0, 0, 1, 0)");
    makeClassKeys(database);
    Bytes content = database.serialized();
    // Read and write version 2: the file is in WAL mode from its first byte on, so that no process ever has
    // to switch it while another one uses it.
    content.at(18) = 2;
    content.at(19) = 2;
    return content;
}

bool writeAll(int file, BytesView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

// No shorter than the keychain's name: SQLite refuses paths from a certain length on.
constexpr std::string_view partialFilePattern = ".keychain-XXXXXX";

bool isPartialFile(std::string_view name) {
    return name.starts_with(partialFilePattern.substr(0, partialFilePattern.find('X')));
}

/// A file in a folder that is to become its keychain. It goes with this object, and so do the files that
/// SQLite puts beside it.
class PartialFile {
  public:
    /// Makes the file with this content and mode 0600.
    PartialFile(const fs::path& folder, const Bytes& content)
        : path_((folder / partialFilePattern).string()) {
        const FileDescriptor file(::mkostemp(path_.data(), O_CLOEXEC));
        if (file.number() < 0 || !writeAll(file.number(), content) || !syncFile(file.number())) {
            const int systemError = errno;
            remove();
            throw systemFailure(folder, "cannot be made a device", systemError);
        }
    }
    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;
    ~PartialFile() {
        remove();
    }

    [[nodiscard]] const std::string& path() const {
        return path_;
    }

  private:
    void remove() noexcept {
        ::unlink(path_.c_str());
        try {
            ::unlink((path_ + "-wal").c_str());
            ::unlink((path_ + "-shm").c_str());
        } catch (const std::bad_alloc&) {  // a later process removes them
        }
    }

    std::string path_;
};

/// Removes what killed processes have left of keychains in `folder`, which is open as `descriptor`, unless
/// one may be in the making there.
void removeLeftBehind(const fs::path& folder, const FileDescriptor& descriptor) {
    const FolderLock lock(descriptor, std::chrono::seconds(0));
    if (lock.state() != FolderLock::State::held) {
        return;
    }
    anyNameIn(folder, [&](std::string_view name) {
        if (isPartialFile(name)) {
            ::unlinkat(descriptor.number(), name.data(), 0);
        }
        return false;
    });
}

/// Makes the file `keychain` in `folder`, whole or not at all.
void createKeychain(const fs::path& folder, const FileDescriptor& descriptor, const fs::path& keychain) {
    const PartialFile partial(folder, newKeychain());
    // SQLite tries the file before it is in its place: where SQLite cannot use a path, no keychain is left.
    Database::open(partial.path(), keychain).integer("SELECT count(*) FROM state");
    // Where folders cannot be locked, another process may have been faster; then its keychain stays.
    if (::link(partial.path().c_str(), keychain.c_str()) != 0 && errno != EEXIST) {
        throw systemFailure(keychain, "cannot be created", errno);
    }
    // The file's name is to survive a power cut, too. Where the file system cannot see to that, the file is
    // good all the same.
    syncFile(descriptor.number());
}

/// Throws unless a database with these numbers, in `file`, is a keychain that this version knows.
void checkIdentity(const fs::path& file, std::int64_t foundId, std::int64_t foundVersion) {
    if (foundId != applicationId) {
        throw DeviceError(file.string() +
                          " is a database of another program. Move it away, or choose another folder.");
    }
    if (foundVersion > formatVersion) {
        throw DeviceError(file.string() + " was written by a newer version of this program (format " +
                          std::to_string(foundVersion) + "; this one knows " + std::to_string(formatVersion) +
                          "). Use the newer version, or choose another folder.");
    }
    if (foundVersion < formatVersion) {
        throw DeviceError(file.string() +
                          " is damaged: it has no format number. Move it away, or choose another folder.");
    }
}

/// Throws unless the header of `file` is that of a keychain. Changes nothing.
void checkIsKeychain(const fs::path& file) {
    checkOwner(file);
    if (!fs::is_regular_file(file)) {
        throw DeviceError(file.string() + " is not a file. Move it away, or choose another folder.");
    }
    const Bytes header = readDatabaseHeader(file);
    if (!std::equal(std::begin(magic), std::end(magic), header.begin())) {
        throw DeviceError(file.string() +
                          " is damaged or is not a database. Move it away, or choose another folder.");
    }
    const auto number = [&](std::size_t offset) {
        std::int64_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value << 8 | header[offset + i];
        }
        return value;
    };
    checkIdentity(file, number(68), number(60));
}

/// Throws unless a keychain may be created in `folder`, which has none. Each question is asked in such an
/// order that a process that makes the same keychain, where folders cannot be locked, changes no answer: it
/// closes the folder before it puts anything there, and the file is there before its log.
void checkHasRoom(const fs::path& folder, const fs::path& file) {
    if (anyNameIn(folder, [](std::string_view) { return true; }) && isOpenToOthers(folder)) {
        throw DeviceError(
            folder.string() +
            " holds other files and is open to other people, so it is not made a device. Choose an "
            "empty folder, or close this one with chmod 700.");
    }
    // A log without its database is the rest of a keychain. A new keychain must not take it for its own.
    if (fs::exists(file.string() + "-wal") && !fs::exists(file)) {
        throw DeviceError(file.string() +
                          " is missing, but its log is still there. Put the file back, or move " +
                          file.string() + "-wal away.");
    }
}

/// Lets a write beyond the process's limit for the size of files fail, which is reported, instead of stopping
/// the process without a word.
void ignoreSizeSignal() {
    struct sigaction action {};
    if (::sigaction(SIGXFSZ, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        ::signal(SIGXFSZ, SIG_IGN);
    }
}

/// Makes sure that `folder` is a device that belongs to this user, and that its keychain is in `file`.
void prepare(const fs::path& folder, const fs::path& file) {
    makeFolder(folder);
    const FileDescriptor descriptor = openFolder(folder);
    if (!fs::exists(file)) {
        const FolderLock lock(descriptor, patience);  // one makes the keychain, and the others wait for it
        if (lock.state() == FolderLock::State::heldByAnother) {
            throw heldByAnother(file);
        }
        if (!fs::exists(file)) {
            checkHasRoom(folder, file);
            closeToOthers(folder);
            createKeychain(folder, descriptor, file);
        }
    }
    checkIsKeychain(file);
    closeToOthers(folder);
    if (anyNameIn(folder, isPartialFile)) {
        removeLeftBehind(folder, descriptor);
    }
}

}  // namespace

Database openKeychainFile(const fs::path& folder) {
    ignoreSizeSignal();
    const fs::path file = folder / "keychain.sqlite";
    try {
        prepare(folder, file);
    } catch (const fs::filesystem_error& problem) {
        throw systemFailure(folder, "cannot be used", problem.code().value());
    }
    Database database = Database::open(file, file);
    if (database.isReadOnly()) {
        throw DeviceError(file.string() + " cannot be written. Check who owns it and its permissions.");
    }
    // The second is for macOS, for the reason that syncFile has.
    database.execute("PRAGMA synchronous = FULL; PRAGMA fullfsync = ON;");
    // Once more, since the file's log may hold a newer version than the header of the file itself.
    checkIdentity(file, database.integer("PRAGMA application_id"), database.integer("PRAGMA user_version"));
    return database;
}

void makeClassKeys(Database& database) {
    for (const Accessibility accessibility : allAccessibilities) {
        const SealingKey key = makeSealingKey();
        Statement(database, "INSERT INTO classKeys VALUES (?1, ?2)",
                  {static_cast<std::int64_t>(accessibility), BytesView(key)})
            .run();
    }
}

}  // namespace KavrelCrypto::Desktop
