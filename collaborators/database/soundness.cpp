#include "collaborators/database/soundness.h"

#include <sqlite3.h>

#include <string>
#include <vector>

namespace Drive::SQLiteDB {

namespace {

struct Index {
    std::string name;
    std::string condition;  ///< of the rows that it holds
};

struct Table {
    std::string name;
    std::vector<Index> indexes;
};

const std::vector<Table>& Tables() {
    static const std::vector<Table> tables = {
        {"T_task",
         {{"sqlite_autoindex_T_task_1", "true"},
          {"T_task_direction", "true"},
          {"T_task_download", "direction = 1 AND readyState IN (0,21,23)"},
          {"T_task_upload", "direction = 2 AND readyState IN (0,11,13)"},
          {"T_task_thumbnail", "direction = 3 AND readyState IS NOT NULL"},
          {"T_task_invalid", "direction = 2 AND readyState IS NULL"},
          {"T_task_key", "transferKey IS NOT NULL"}}},
        {"T_cloudDriveData",
         {{"sqlite_autoindex_T_cloudDriveData_1", "true"}, {"T_file_place", "true"}, {"T_file_status", "true"}}},
        {"T_hostSetting", {{"sqlite_autoindex_T_hostSetting_1", "true"}}},
    };
    return tables;
}

/// All in one walk over the table.
std::vector<std::int64_t> RowsByIndex(Connection& connection, const Table& table) {
    std::string counts;
    for (const Index& index : table.indexes) {
        counts += (counts.empty() ? "" : ", ") + ("count(*) FILTER (WHERE " + index.condition) + ")";
    }
    SQLite::Statement statement(connection.Raw(), "SELECT " + counts + " FROM " + table.name + " NOT INDEXED");
    statement.executeStep();
    std::vector<std::int64_t> rows;
    for (int column = 0; column < statement.getColumnCount(); ++column) {
        rows.push_back(statement.getColumn(column).getInt64());
    }
    return rows;
}

std::int64_t RowsIn(Connection& connection, const Table& table, const Index& index) {
    SQLite::Statement statement(connection.Raw(), "SELECT count(*) FROM " + table.name + " INDEXED BY " + index.name +
                                                      " WHERE " + index.condition);
    statement.executeStep();
    return statement.getColumn(0).getInt64();
}

}  // namespace

bool IsSound(Connection& connection) {
    SQLite::Statement check(connection.Raw(), "PRAGMA quick_check(1)");
    return check.executeStep() && check.getColumn(0).getString() == "ok";
}

bool IndexesFit(Connection& connection) {
    for (const Table& table : Tables()) {
        const std::vector<std::int64_t> rows = RowsByIndex(connection, table);
        for (std::size_t number = 0; number < table.indexes.size(); ++number) {
            if (RowsIn(connection, table, table.indexes[number]) != rows[number]) return false;
        }
    }
    return true;
}

void RemakeIndexes(Connection& connection) {
    try {
        connection.Execute("REINDEX");
    } catch (const SQLite::Exception& error) {
        if (error.getErrorCode() != SQLITE_CONSTRAINT) throw;
        throw SQLite::Exception("rows stand twice", SQLITE_CORRUPT);
    }
}

}  // namespace Drive::SQLiteDB
