#include "collaborators/database/connection.h"

#include <sqlite3.h>

#include <thread>

namespace Drive::SQLiteDB {

namespace {

constexpr std::chrono::milliseconds kLookAgain{1};
/// Update statements differ by their set of columns; far fewer than this are ever in use.
constexpr std::size_t kMostStatements = 200;

}  // namespace

KeptStatement::~KeptStatement() {
    statement->tryReset();
    statement->clearBindings();
}

Connection::Connection(const std::string& path, bool readOnly)
    : database(path, readOnly ? SQLite::OPEN_READONLY : SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
    sqlite3_busy_handler(Handle(), &Connection::WaitForOthers, this);
    sqlite3_db_config(Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    // Installed once and steered by a member: a change of the authoriser itself would expire all kept statements.
    sqlite3_set_authorizer(Handle(), &Connection::Authorise, this);
    database.exec("PRAGMA temp_store = MEMORY");
    database.exec("PRAGMA cache_size = -16000");
}

Connection::~Connection() { kept.clear(); }

KeptStatement Connection::Statement(const std::string& text) {
    const auto found = kept.find(text);
    if (found != kept.end()) return KeptStatement(*found->second);
    auto made = std::make_unique<SQLite::Statement>(database, text);
    if (kept.size() >= kMostStatements) return KeptStatement(std::move(made));
    return KeptStatement(*kept.emplace(text, std::move(made)).first->second);
}

void Connection::FoldInOnClose() { sqlite3_db_config(Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr); }

void Connection::Execute(const std::string& text) { database.exec(text); }

int Connection::Number(const std::string& text) {
    SQLite::Statement statement(database, text);
    return statement.executeStep() ? statement.getColumn(0).getInt() : 0;
}

void Connection::Permit(Permission value) {
    permission = value;
    wroteTasks = false;
}

bool Connection::Allows(int action) const {
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_READ:
        case SQLITE_FUNCTION:
        case SQLITE_RECURSIVE:
            return true;
        case SQLITE_INSERT:
        case SQLITE_UPDATE:
        case SQLITE_DELETE:
            return permission == Permission::ChangeRows;
        default:
            return false;
    }
}

/// SQLite's own waiting soon looks ten times a second only: beside a program that writes without a pause, which lets go
/// of the lock for a moment between two transactions, it would come too late again and again.
int Connection::WaitForOthers(void* self, int attempt) {
    auto* connection = static_cast<Connection*>(self);
    const auto now = std::chrono::steady_clock::now();
    if (attempt == 0) connection->waitingSince = now;
    if (now - connection->waitingSince > kMostWaiting || now > connection->waitUntil) return 0;
    std::this_thread::sleep_for(kLookAgain);
    return 1;
}

int Connection::Authorise(void* self, int action, const char* first, const char*, const char*, const char* trigger) {
    auto* connection = static_cast<Connection*>(self);
    if (connection->permission == Permission::Everything) return SQLITE_OK;
    if (!connection->Allows(action)) return SQLITE_DENY;
    const bool writes = action == SQLITE_INSERT || action == SQLITE_UPDATE || action == SQLITE_DELETE;
    if (writes && trigger == nullptr && sqlite3_stricmp(first, "T_task") == 0) connection->wroteTasks = true;
    return SQLITE_OK;
}

}  // namespace Drive::SQLiteDB
