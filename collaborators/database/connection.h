#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <chrono>
#include <memory>
#include <string>
#include <unordered_map>

/// One SQLite connection and the statements that it keeps prepared. Not safe for several threads: whoever owns it holds
/// a mutex. Throws SQLite::Exception.
namespace Drive::SQLiteDB {

/// The longest time for which an operation waits for another program that holds the file.
inline constexpr std::chrono::seconds kMostWaiting{10};

/// A statement from the connection's store, or one of its own when the store is full; reset when this goes, so that it
/// holds no snapshot of the file.
class KeptStatement {
public:
    explicit KeptStatement(SQLite::Statement& statement) : statement(&statement) {}
    explicit KeptStatement(std::unique_ptr<SQLite::Statement> own) : owned(std::move(own)), statement(owned.get()) {}
    ~KeptStatement();
    KeptStatement(const KeptStatement&) = delete;
    KeptStatement& operator=(const KeptStatement&) = delete;
    SQLite::Statement* operator->() { return statement; }
    SQLite::Statement& operator*() { return *statement; }

private:
    std::unique_ptr<SQLite::Statement> owned;
    SQLite::Statement* statement;
};

/// What statements from outside may do while they are prepared.
enum class Permission {
    Everything,  ///< the library's own statements
    ReadRows,    ///< selects only
    ChangeRows   ///< selects, inserts, updates and deletes; no transactions, pragmas or changes of the schema
};

class Connection {
public:
    /// `readOnly`: nothing can be written through it. Otherwise the file is made when absent. Closing leaves the file
    /// and its log as they are until FoldInOnClose.
    Connection(const std::string& path, bool readOnly);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// The statement with that text, prepared once. At most one holder of the same text at a time.
    KeptStatement Statement(const std::string& text);

    /// Closing folds the write-ahead log in from now on: the file is known to be sound and ours.
    void FoldInOnClose();

    /// Others who hold the file are waited for until then at most, and never longer than ten seconds.
    void WaitUntil(std::chrono::steady_clock::time_point time) { waitUntil = time; }

    /// Runs a text without results.
    void Execute(const std::string& text);

    /// First column of the first row; 0 when there is none.
    int Number(const std::string& text);

    /// Settles what statements prepared from now on may do; forgets what `WroteTasks` saw.
    void Permit(Permission value);

    /// True when a statement prepared since `Permit` writes T_task itself, not only through a trigger.
    bool WroteTasks() const { return wroteTasks; }

    SQLite::Database& Raw() { return database; }
    sqlite3* Handle() const { return database.getHandle(); }

private:
    static int WaitForOthers(void* self, int attempt);
    static int Authorise(void* self, int action, const char* first, const char* second, const char* schema,
                         const char* trigger);
    bool Allows(int action) const;

    SQLite::Database database;
    std::unordered_map<std::string, std::unique_ptr<SQLite::Statement>> kept;
    Permission permission = Permission::Everything;
    bool wroteTasks = false;
    std::chrono::steady_clock::time_point waitingSince;
    std::chrono::steady_clock::time_point waitUntil = std::chrono::steady_clock::time_point::max();
};

/// Sets the permission for the life of this object.
class PermissionScope {
public:
    PermissionScope(Connection& connection, Permission value) : connection(connection) { connection.Permit(value); }
    ~PermissionScope() { connection.Permit(Permission::Everything); }
    PermissionScope(const PermissionScope&) = delete;
    PermissionScope& operator=(const PermissionScope&) = delete;

private:
    Connection& connection;
};

}  // namespace Drive::SQLiteDB
