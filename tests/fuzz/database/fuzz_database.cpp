#include "tests/fuzz/database/fuzz_database.h"

#include <sqlite3.h>

#include "collaborators/database/schema.h"
#include "tests/fuzz/platform/require.h"

namespace Drive::Fuzz {

namespace {

constexpr int kStepsBetweenLooks = 1000;
int looksLeft = 1000;

SQLiteDB::Connection* Made() {
    auto* connection = new SQLiteDB::Connection(":memory:", false);
    SQLiteDB::Migrate(*connection, SQLiteDB::Migrations());
    connection->Execute(
        "INSERT INTO T_cloudDriveData (fileId, localFileName, localParentFolder, fileStatus) VALUES "
        "('a', 'a.txt', 'd', 21), ('b', 'b.txt', 'd', 11), ('Local1', 'c.txt', '', 0)");
    connection->Execute(
        "INSERT INTO T_task (fileId, direction, TaskStatus, Priority) VALUES ('a', 1, 0, 1), ('b', 2, 1, 4)");
    sqlite3_limit(connection->Handle(), SQLITE_LIMIT_LENGTH, 1 << 20);
    sqlite3_hard_heap_limit64(std::int64_t{256} << 20);
    sqlite3_progress_handler(
        connection->Handle(), kStepsBetweenLooks, [](void*) { return --looksLeft < 0 ? 1 : 0; }, nullptr);
    return connection;
}

std::string Answer(const std::string& query) {
    std::string text;
    auto statement = Database().Statement(query);
    while (statement->executeStep()) {
        for (int column = 0; column < statement->getColumnCount(); ++column) {
            text += statement->getColumn(column).getString() + '\x1f';
        }
    }
    return text;
}

}  // namespace

SQLiteDB::Connection& Database() {
    static SQLiteDB::Connection* const connection = Made();
    return *connection;
}

void Allow(int steps) { looksLeft = steps / kStepsBetweenLooks; }

std::string Rows() {
    Allow(1000000);
    std::string rows;
    for (const char* table : {"T_cloudDriveData", "T_task", "T_SyncConf", "T_hostSetting", "T_displacedDriveData"}) {
        rows += Answer(std::string("SELECT * FROM ") + table + " ORDER BY rowid LIMIT 100");
    }
    return rows;
}

std::string Schema() {
    Allow(1000000);
    return Answer("SELECT type, name, sql FROM sqlite_master ORDER BY name");
}

Attempt::Attempt() { Database().Execute("BEGIN IMMEDIATE"); }

Attempt::~Attempt() {
    // A statement that fails hard has rolled back already.
    if (sqlite3_get_autocommit(Database().Handle()) == 0) Database().Execute("ROLLBACK");
}

}  // namespace Drive::Fuzz
