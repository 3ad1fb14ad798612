#include "collaborators/database/raw_statements.h"

#include <sqlite3.h>

#include <memory>
#include <stdexcept>

#include "collaborators/database/text_values.h"

namespace Drive::SQLiteDB {

namespace {

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using RawStatement = std::unique_ptr<sqlite3_stmt, Finalize>;

void Check(Connection& connection, int result) {
    if (result != SQLITE_OK) throw SQLite::Exception(connection.Handle(), result);
}

/// Prepares the first statement of the text and moves `rest` behind it; null for blanks and comments.
RawStatement PrepareNext(Connection& connection, const char*& rest, const char* end) {
    sqlite3_stmt* made = nullptr;
    Check(connection, sqlite3_prepare_v2(connection.Handle(), rest, static_cast<int>(end - rest) + 1, &made, &rest));
    return RawStatement(made);
}

void RefuseNul(const std::string& text) {
    // What follows would be dropped without a word.
    if (text.find('\0') != std::string::npos) throw std::invalid_argument("a statement holds a NUL");
}

std::wstring ColumnText(sqlite3_stmt* statement, int column) {
    const void* bytes = sqlite3_column_blob(statement, column);
    const int length = sqlite3_column_bytes(statement, column);
    return length > 0 ? DecodeText(std::string(static_cast<const char*>(bytes), length)) : std::wstring();
}

WMap RowOf(sqlite3_stmt* statement) {
    WMap row;
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        row.emplace(DecodeText(sqlite3_column_name(statement, column)), ColumnText(statement, column));
    }
    return row;
}

/// Steps once; false at the end.
bool Step(Connection& connection, sqlite3_stmt* statement) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) throw SQLite::Exception(connection.Handle(), result);
    return false;
}

std::wstring Quoted(const std::wstring& text) {
    std::wstring quoted = L"'";
    for (const wchar_t character : text) quoted.append(character == L'\'' ? 2 : 1, character);
    return quoted + L"'";
}

}  // namespace

void QueryRows(Connection& connection, const std::string& statement, std::list<WMap>& rows) {
    RefuseNul(statement);
    const PermissionScope scope(connection, Permission::ReadRows);
    const char* rest = statement.c_str();
    const char* const end = rest + statement.size();
    const RawStatement query = PrepareNext(connection, rest, end);
    if (!query || sqlite3_stmt_readonly(query.get()) == 0) throw std::invalid_argument("this is no query");
    while (rest != end) {
        if (PrepareNext(connection, rest, end)) throw std::invalid_argument("a query is followed by another statement");
    }
    std::list<WMap> found;
    while (Step(connection, query.get())) found.push_back(RowOf(query.get()));
    rows.splice(rows.end(), found);
}

bool RunBatch(Connection& connection, const std::vector<std::string>& statements) {
    const PermissionScope scope(connection, Permission::ChangeRows);
    for (const std::string& text : statements) {
        RefuseNul(text);
        const char* rest = text.c_str();
        const char* const end = rest + text.size();
        while (rest != end) {
            const RawStatement statement = PrepareNext(connection, rest, end);
            while (statement && Step(connection, statement.get())) {
            }
        }
    }
    return connection.WroteTasks();
}

std::wstring DownloadTaskStatement(const std::wstring& localFileName, const std::wstring& localParentFolder,
                                   const std::wstring& fileId, bool isOnFetch, std::int64_t transferKey) {
    const std::wstring values =
        std::wstring(L", 1, 0, 1, ") + (isOnFetch ? L"1" : L"0") + L", " + std::to_wstring(transferKey);
    // "WHERE true" keeps the conflict clause from being read as a join.
    const std::wstring source =
        fileId.empty() ? L"fileId" + values + L" FROM T_cloudDriveData WHERE isFolder = 0 AND localFileName = " +
                             Quoted(localFileName) + L" AND localParentFolder = " + Quoted(localParentFolder) +
                             L" AND fileId NOT LIKE 'Local%' ORDER BY rowid LIMIT 1"
                       : Quoted(fileId) + values + L" WHERE true";
    return L"INSERT INTO T_task (fileId, direction, TaskStatus, Priority, module, transferKey) SELECT " + source +
           L" ON CONFLICT (fileId, direction) DO UPDATE SET transferKey = excluded.transferKey, "
           L"TaskStatus = CASE WHEN readyState IS 22 THEN TaskStatus ELSE 0 END;";
}

}  // namespace Drive::SQLiteDB
