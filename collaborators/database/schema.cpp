#include "collaborators/database/schema.h"

#include "collaborators/database/text_values.h"

namespace Drive::SQLiteDB {

namespace {

const char* const kFileColumnTypes =
    "fileId TEXT NOT NULL CHECK (fileId <> ''), name TEXT NOT NULL DEFAULT '', localFileName TEXT NOT NULL DEFAULT '', "
    "localParentFolder TEXT NOT NULL DEFAULT '', localParentId TEXT NOT NULL DEFAULT '', "
    "parentId TEXT NOT NULL DEFAULT '', parentFolder TEXT NOT NULL DEFAULT '', hash TEXT NOT NULL DEFAULT '', "
    "localFileSha256 TEXT NOT NULL DEFAULT '', mimeType TEXT NOT NULL DEFAULT '', kind TEXT NOT NULL DEFAULT '', "
    "contentVersion TEXT NOT NULL DEFAULT '', thunbnailDownloadLink TEXT NOT NULL DEFAULT '', "
    "attachmentSize TEXT NOT NULL DEFAULT '', size INTEGER NOT NULL DEFAULT 0, fileStatus INTEGER NOT NULL DEFAULT 0, "
    "status INTEGER NOT NULL DEFAULT 0, isFolder INTEGER NOT NULL DEFAULT 0 CHECK (isFolder IN (0, 1))";

/// readyState is the fileStatus of the task's file while that is a file, otherwise null. It lies in the task row so
/// that a partial index can hold just the ready rows, ordered by priority, and another one the rows without a file.
/// AUTOINCREMENT: the id of a deleted task never comes back, since leases and queues hold ids.
std::vector<std::string> Tables() {
    return {
        std::string("CREATE TABLE T_cloudDriveData (") + kFileColumnTypes + ", UNIQUE (fileId)) STRICT",
        "CREATE TABLE T_task (taskId INTEGER PRIMARY KEY AUTOINCREMENT, "
        "fileId TEXT NOT NULL CHECK (fileId <> ''), direction INTEGER NOT NULL, "
        "TaskStatus INTEGER NOT NULL DEFAULT 0, Priority INTEGER NOT NULL DEFAULT 1, "
        "module INTEGER NOT NULL DEFAULT 0, transferKey INTEGER, fragmentInfo TEXT NOT NULL DEFAULT '', "
        "readyState INTEGER, UNIQUE (fileId, direction)) STRICT",
        "CREATE TABLE T_SyncConf (id INTEGER PRIMARY KEY CHECK (id = 1), LastNotifySpaceFull INTEGER) STRICT",
        "INSERT INTO T_SyncConf (id) VALUES (1)",
        "CREATE TABLE T_hostSetting (name TEXT PRIMARY KEY, value TEXT NOT NULL) STRICT",
        std::string(
            "CREATE TABLE T_displacedDriveData (displacedId INTEGER PRIMARY KEY, displacedAt INTEGER NOT NULL, ") +
            kFileColumnTypes + ") STRICT",
    };
}

std::vector<std::string> Indexes() {
    return {
        "CREATE INDEX T_file_place ON T_cloudDriveData (localParentFolder, localFileName)",
        "CREATE INDEX T_file_status ON T_cloudDriveData (fileStatus, isFolder)",
        "CREATE INDEX T_task_download ON T_task (Priority) WHERE direction = 1 AND readyState IN (0,21,23)",
        "CREATE INDEX T_task_upload ON T_task (Priority) WHERE direction = 2 AND readyState IN (0,11,13)",
        "CREATE INDEX T_task_thumbnail ON T_task (taskId) WHERE direction = 3 AND readyState IS NOT NULL",
        "CREATE INDEX T_task_invalid ON T_task (taskId) WHERE direction = 2 AND readyState IS NULL",
        "CREATE INDEX T_task_direction ON T_task (direction, Priority)",
        "CREATE INDEX T_task_key ON T_task (transferKey) WHERE transferKey IS NOT NULL",
    };
}

std::vector<std::string> Triggers() {
    const std::string set = "UPDATE T_task SET readyState = ";
    const std::string ofNewFile = "CASE WHEN NEW.isFolder = 0 THEN NEW.fileStatus END WHERE fileId = NEW.fileId; ";
    const std::string ofNewTask =
        "(SELECT fileStatus FROM T_cloudDriveData WHERE fileId = NEW.fileId AND isFolder = 0) WHERE taskId = "
        "NEW.taskId; ";
    return {
        "CREATE TRIGGER T_task_made AFTER INSERT ON T_task BEGIN " + set + ofNewTask + "END",
        "CREATE TRIGGER T_task_moved AFTER UPDATE OF fileId ON T_task WHEN NEW.fileId <> OLD.fileId BEGIN " + set +
            ofNewTask + "END",
        "CREATE TRIGGER T_file_made AFTER INSERT ON T_cloudDriveData BEGIN " + set + ofNewFile + "END",
        "CREATE TRIGGER T_file_changed AFTER UPDATE OF fileStatus, isFolder ON T_cloudDriveData "
        "WHEN NEW.fileStatus <> OLD.fileStatus OR NEW.isFolder <> OLD.isFolder BEGIN " +
            set + ofNewFile + "END",
        "CREATE TRIGGER T_file_renumbered AFTER UPDATE OF fileId ON T_cloudDriveData WHEN NEW.fileId <> OLD.fileId "
        "BEGIN " +
            set + "NULL WHERE fileId = OLD.fileId; " + set + ofNewFile + "END",
        "CREATE TRIGGER T_file_gone AFTER DELETE ON T_cloudDriveData BEGIN " + set +
            "NULL WHERE fileId = OLD.fileId; END",
    };
}

std::vector<std::string> FirstSchema() {
    std::vector<std::string> statements = Tables();
    for (const auto& part : {Indexes(), Triggers()}) statements.insert(statements.end(), part.begin(), part.end());
    statements.push_back("PRAGMA application_id = " + std::to_string(kApplicationId));
    return statements;
}

}  // namespace

ColumnKind KindOf(std::string_view column) {
    for (const std::string_view large : {"size", "transferKey", "LastNotifySpaceFull"}) {
        if (column == large) return ColumnKind::Int64;
    }
    for (const std::string_view number :
         {"fileStatus", "status", "isFolder", "direction", "TaskStatus", "Priority", "module"}) {
        if (column == number) return ColumnKind::Int;
    }
    return ColumnKind::Text;
}

std::string_view FindColumn(std::span<const std::string_view> columns, const std::string& name) {
    for (const std::string_view column : columns) {
        if (SameName(std::string(column), name)) return column;
    }
    return {};
}

std::string ColumnList(std::span<const std::string_view> columns) {
    std::string list;
    for (const std::string_view column : columns) {
        if (!list.empty()) list += ", ";
        list += column;
    }
    return list;
}

const std::vector<Migration>& Migrations() {
    static const std::vector<Migration> steps = {{1, FirstSchema()}};
    return steps;
}

int SchemaVersion() { return Migrations().back().version; }

void Migrate(Connection& connection, const std::vector<Migration>& steps) {
    const int present = connection.Number("PRAGMA user_version");
    for (const Migration& step : steps) {
        if (step.version <= present) continue;
        SQLite::Transaction transaction(connection.Raw(), SQLite::TransactionBehavior::IMMEDIATE);
        for (const std::string& statement : step.statements) connection.Execute(statement);
        connection.Execute("PRAGMA user_version = " + std::to_string(step.version));
        transaction.commit();
    }
}

}  // namespace Drive::SQLiteDB
