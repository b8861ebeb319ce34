#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <variant>

#include "devices/desktop/Failure.hpp"
#include "devices/desktop/FolderLock.hpp"
#include "devices/desktop/OpenSSL.hpp"
#include "text/Bytes.hpp"

/// SQLite with owners and exceptions. Whatever fails throws a Failure that names the file, what is wrong with
/// it and what to do. Only one thread at a time may use a database.
namespace KavrelCrypto::Desktop {

/// How long a change waits for those of other processes.
inline constexpr std::chrono::seconds patience{10};

/// Returns the error for the database at `name` when another process has kept it for longer than that.
Failure heldByAnother(const std::string& name);

class Database {
  public:
    /// Opens the database in `file`, which exists. Errors call it `name`.
    static Database open(const std::filesystem::path& file, const std::filesystem::path& name);

    /// Creates an empty database in memory.
    static Database inMemory();

    /// Runs one or more statements without parameters.
    void execute(const char* sql);

    /// Returns the number that `sql` selects.
    std::int64_t integer(const char* sql);

    /// Returns the content of the database as a file would hold it.
    Bytes serialized();

    [[nodiscard]] bool isReadOnly() const;

    /// Where the database is.
    [[nodiscard]] const std::string& name() const {
        return name_;
    }

  private:
    friend class Statement;
    friend class Transaction;

    /// Prepared statements by their text.
    using Prepared = std::map<std::string, std::unique_ptr<sqlite3_stmt, FreeWith<sqlite3_finalize>>>;

    Database(std::string name, const std::string& path, FileDescriptor folder);
    void check(int code);

    std::string name_;
    FileDescriptor folder_;
    std::unique_ptr<sqlite3, FreeWith<sqlite3_close_v2>> handle_;
    Prepared idle_;  // prepared once and used again, since that takes longer than most of them run
};

/// Returns the first 100 bytes of `file`, which are the header of a database, with zeros where the file is
/// shorter. Changes nothing, not even beside the file. Throws a Failure if the file cannot be read.
Bytes readDatabaseHeader(const std::filesystem::path& file);

class Statement {
  public:
    using Value = std::variant<std::int64_t, BytesView>;

    /// Prepares `sql` with `values` for its parameters ?1, ?2, …. Bytes among them must outlive the
    /// statement.
    Statement(Database& database, const std::string& sql, std::initializer_list<Value> values = {});
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    /// Advances to the next row. Returns false if there is none.
    bool step();

    /// Runs a statement that returns no rows.
    void run();

    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] Bytes bytes(int column) const;

  private:
    /// Takes the statement from those that are idle, or prepares it.
    static Database::Prepared::node_type take(Database& database, const std::string& sql);

    [[nodiscard]] sqlite3_stmt* handle() const {
        return prepared_.mapped().get();
    }
    void bind(int index, const Value& value);

    Database& database_;
    Database::Prepared::node_type prepared_;
};

/// Holds changes together: all of them take effect with the commit, or none does.
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
