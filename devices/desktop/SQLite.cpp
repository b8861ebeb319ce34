#include "devices/desktop/SQLite.hpp"

#include <new>
#include <type_traits>
#include <utility>

namespace KavrelCrypto::Desktop {
namespace {

Failure failure(sqlite3* handle, int code, const std::string& name) {
    if (code == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) {
        throw std::bad_alloc();
    }
    const std::string reason = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
    if (code == SQLITE_IOERR_SHMSIZE) {  // what SQLite calls a disk without room for its shared memory
        code = SQLITE_FULL;
    }
    switch (code & 0xFF) {
        case SQLITE_FULL:
            return {errSecDiskFull, name + " cannot grow, because its disk is full (" + reason +
                                        "). Make room there and try again."};
        case SQLITE_TOOBIG:
            return {errSecParam, "A value is too large for " + name + " (" + reason + ")."};
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_ERROR:  // a table of ours is not as we made it
            return {errSecIO, name + " is damaged or is not a keychain of this device (" + reason +
                                  "). Move it away, or choose another folder."};
        case SQLITE_BUSY:
            return {errSecIO, name + " is held by another process (" + reason +
                                  "). Wait until that one has finished, or end it, and try again."};
        case SQLITE_CANTOPEN:
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return {errSecIO, name + " cannot be opened for writing (" + reason +
                                  "). Check who owns the folder and its files, their permissions, "
                                  "and that the path is not too long."};
        default:
            return {errSecIO, name + " cannot be read or written (" + reason +
                                  "). Check the disk that it is on, and your quota there."};
    }
}

}  // namespace

Failure heldByAnother(const std::string& name) {
    return failure(nullptr, SQLITE_BUSY, name);
}

Database::Database(std::string name, const std::string& path, FileDescriptor folder)
    : name_(std::move(name)), folder_(std::move(folder)) {
    sqlite3* handle = nullptr;
    const int code =
        sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(handle);
    check(code);
    check(sqlite3_extended_result_codes(handle, 1));
    check(sqlite3_busy_timeout(handle, static_cast<int>(std::chrono::milliseconds(patience).count())));
}

Database Database::open(const std::filesystem::path& file, const std::filesystem::path& name) {
    return {name, file, openFolder(file.parent_path())};
}

Database Database::inMemory() {
    return {"a database in memory", ":memory:", FileDescriptor(-1)};
}

void Database::check(int code) {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
        throw failure(handle_.get(), code, name_);
    }
}

void Database::execute(const char* sql) {
    check(sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr));
}

std::int64_t Database::integer(const char* sql) {
    Statement statement(*this, sql);
    statement.step();
    return statement.integer(0);
}

Bytes Database::serialized() {
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, FreeWith<sqlite3_free>> content(
        sqlite3_serialize(handle_.get(), "main", &size, 0));
    if (content == nullptr) {
        throw std::bad_alloc();
    }
    return {content.get(), content.get() + size};
}

bool Database::isReadOnly() const {
    return sqlite3_db_readonly(handle_.get(), "main") != 0;
}

Bytes readDatabaseHeader(const std::filesystem::path& file) {
    // SQLite reads the file, since closing a file drops all locks that the process holds on it, and this
    // process may have a database open there. SQLite takes care of that.
    sqlite3_initialize();
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    const std::unique_ptr<const char, FreeWith<sqlite3_free_filename>> name(
        sqlite3_create_filename(file.c_str(), "", "", 0, nullptr));
    const std::unique_ptr<void, FreeWith<sqlite3_free>> storage(sqlite3_malloc(vfs->szOsFile));
    if (name == nullptr || storage == nullptr) {
        throw std::bad_alloc();
    }
    auto* handle = static_cast<sqlite3_file*>(storage.get());
    Bytes header(100);
    int code = vfs->xOpen(vfs, name.get(), handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_MAIN_DB, nullptr);
    if (code == SQLITE_OK) {
        code = handle->pMethods->xRead(handle, header.data(), static_cast<int>(header.size()), 0);
        handle->pMethods->xClose(handle);
    }
    if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) {
        throw failure(nullptr, code, file);
    }
    return header;
}

Statement::Statement(Database& database, const std::string& sql, std::initializer_list<Value> values)
    : database_(database), prepared_(take(database, sql)) {
    int index = 0;
    for (const Value& value : values) {
        bind(++index, value);
    }
}

Statement::~Statement() {
    sqlite3_reset(handle());
    sqlite3_clear_bindings(handle());
    database_.idle_.insert(std::move(prepared_));
}

Database::Prepared::node_type Statement::take(Database& database, const std::string& sql) {
    if (Database::Prepared::node_type idle = database.idle_.extract(sql)) {
        return idle;
    }
    sqlite3_stmt* handle = nullptr;
    const int code = sqlite3_prepare_v3(database.handle_.get(), sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &handle, nullptr);
    Database::Prepared::mapped_type owned(handle);
    database.check(code);
    Database::Prepared prepared;
    prepared.emplace(sql, std::move(owned));
    return prepared.extract(prepared.begin());
}

void Statement::bind(int index, const Value& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        database_.check(sqlite3_bind_int64(handle(), index, *number));
        return;
    }
    const auto bytes = std::get<BytesView>(value);
    // A null pointer would bind NULL, which is not the same as no bytes.
    const void* data = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
    database_.check(sqlite3_bind_blob64(handle(), index, data, bytes.size(), SQLITE_STATIC));
}

bool Statement::step() {
    const int code = sqlite3_step(handle());
    database_.check(code);
    return code == SQLITE_ROW;
}

void Statement::run() {
    step();
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(handle(), column);
}

Bytes Statement::bytes(int column) const {
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle(), column));
    return {data, data + sqlite3_column_bytes(handle(), column)};
}

Transaction::Transaction(Database& database, Kind kind) : database_(database) {
    if (kind == changing) {
        turn_.emplace(database.folder_, patience);
        if (turn_->state() == FolderLock::State::heldByAnother) {
            throw heldByAnother(database.name_);
        }
    }
    if (sqlite3_get_autocommit(database_.handle_.get()) == 0) {
        database_.execute("ROLLBACK");
    }
    database_.execute(kind == changing ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (open_) {
        // It does not matter if this fails: after some failures SQLite has rolled back by itself, and what
        // cannot be rolled back for want of memory is rolled back before the next transaction.
        sqlite3_exec(database_.handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

}  // namespace KavrelCrypto::Desktop
