#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>
#include <variant>

#include "platform/desktop/FileDescriptor.hpp"
#include "platform/desktop/FolderLock.hpp"
#include "platform/desktop/OpenSSL.hpp"
#include "text/Bytes.hpp"

/// SQLite with owners and exceptions. Every failure is a Failure that names the file, what is wrong with it
/// and what to do. One thread at a time uses a database.
namespace KavrelCrypto::Desktop {

class Database {
  public:
    /// Opens the database in `file`, which exists. Errors call it `name`. Waits up to ten seconds for the
    /// change of a process that does not take turns.
    static Database open(const std::filesystem::path& file, const std::filesystem::path& name);

    /// An empty database in memory.
    static Database inMemory();

    /// Runs one or more statements without parameters.
    void execute(const char* sql);

    /// The number that `sql` selects.
    std::int64_t integer(const char* sql);

    /// The content of the database as a file would hold it.
    Bytes serialized();

    [[nodiscard]] bool isReadOnly() const;

    /// Where the database is.
    [[nodiscard]] const std::string& name() const {
        return name_;
    }

  private:
    friend class Statement;
    friend class Transaction;

    Database(std::string name, const std::string& path, FileDescriptor folder);
    void check(int code);

    std::string name_;
    FileDescriptor folder_;
    std::unique_ptr<sqlite3, FreeWith<sqlite3_close_v2>> handle_;
};

/// The first 100 bytes of `file`, which are the header of a database; zeros where the file is shorter.
/// Changes nothing, not even beside the file. Throws a Failure.
Bytes readDatabaseHeader(const std::filesystem::path& file);

class Statement {
  public:
    using Value = std::variant<std::int64_t, BytesView>;

    /// Prepares `sql` with `values` for its parameters ?1, ?2, …; bytes must stay where they are until the
    /// statement goes.
    Statement(Database& database, std::string_view sql, std::initializer_list<Value> values = {});

    /// Goes to the next row; false when there is none.
    bool step();

    /// Runs a statement that gives no rows.
    void run();

    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] Bytes bytes(int column) const;

  private:
    void bind(int index, const Value& value);

    Database& database_;
    std::unique_ptr<sqlite3_stmt, FreeWith<sqlite3_finalize>> handle_;
};

/// Everything between its begin and its commit happens, or nothing of it.
class Transaction {
  public:
    enum Kind { reading, changing };

    Transaction(Database& database, Kind kind);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    void commit();

  private:
    std::optional<FolderLock> turn_;  // of a change; given up last
    Database& database_;
    bool open_ = true;
};

}  // namespace KavrelCrypto::Desktop
