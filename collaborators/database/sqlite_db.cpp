#include "interfaces/database/sqlite_db.h"

#include "collaborators/database/core.h"
#include "collaborators/database/raw_statements.h"
#include "collaborators/database/rows.h"
#include "collaborators/database/schema.h"
#include "collaborators/database/task_feed.h"
#include "collaborators/database/text_values.h"
#include "collaborators/database/update_row.h"
#include "interfaces/platform/text.h"

namespace Drive::SQLiteDB {

using Common::FileItem;
using Common::TaskItem;

SQLiteDB::SQLiteDB(const bool& shared) : shared(shared) {}

int SQLiteDB::GetTaskAllItem(std::vector<TaskItem>& tasks, const std::string& fileStatus, const std::string& direction,
                             int limit) {
    const std::size_t before = tasks.size();
    Core& core = Core::Get();
    core.Hand("fetch tasks", [&](Connection& connection) {
        HandOutTasks(connection, core.Transfers(), FeedStatement(fileStatus, direction), limit, tasks);
    });
    return static_cast<int>(tasks.size() - before);
}

int SQLiteDB::GetThumbnailFileDownLoadTask(std::list<WMap>& rows, int limit) {
    const std::size_t before = rows.size();
    Core& core = Core::Get();
    core.Hand("fetch thumbnail tasks",
              [&](Connection& connection) { HandOutThumbnails(connection, core.Thumbnails(), limit, rows); });
    return static_cast<int>(rows.size() - before);
}

void SQLiteDB::ClearInvalidateTask() {
    // Asked before each upload fetch and nearly always without work: no transaction then.
    bool any = false;
    Core::Get().Read("look for tasks without a file", [&any](Connection& connection) {
        any = connection.Statement("SELECT 1" + std::string(kTasksWithoutFile))->executeStep();
    });
    if (!any) return;
    Core::Get().Write("remove tasks without a file", [](Connection& connection) {
        connection.Statement("DELETE" + std::string(kTasksWithoutFile))->exec();
    });
}

void SQLiteDB::ClearTaskTable() {
    Core::Get().Write("empty the task table",
                      [](Connection& connection) { connection.Statement("DELETE FROM T_task")->exec(); });
}

bool SQLiteDB::hasTransferTasks() { return Core::Get().HasTransferTasks(); }

TaskItem SQLiteDB::GetTaskItem(const std::wstring& fileId, const int& direction) {
    TaskItem task;
    Core::Get().Read("read a task", [&](Connection& connection) {
        auto statement = connection.Statement(SelectTask() + "WHERE fileId = ? AND direction = ?");
        BindText(*statement, 1, fileId);
        statement->bind(2, direction);
        if (statement->executeStep()) task = TaskOfRow(*statement, kMissingKeyAlone);
    });
    return task;
}

bool SQLiteDB::DeleteTaskItem(const std::wstring& fileId, int direction) {
    return Core::Get().Write("delete a task", [&](Connection& connection) {
        auto statement = connection.Statement("DELETE FROM T_task WHERE fileId = ? AND direction = ?");
        BindText(*statement, 1, fileId);
        statement->bind(2, direction);
        statement->exec();
    });
}

bool SQLiteDB::UpdateTaskItem(const UpdateDBInfo& info, int direction) {
    Durability durability = Durability::Full;
    try {
        if (IsPositionOnly(info)) durability = Durability::MayLag;
    } catch (const std::exception&) {
        return false;
    }
    return Core::Get().Write(
        "update a task", [&](Connection& connection) { UpdateTaskRow(connection, info, direction); }, durability);
}

FileItem SQLiteDB::GetDriveDataItem(WMap columns) {
    FileItem file;
    if (columns.empty()) return file;
    Core::Get().Read("look for a file", [&](Connection& connection) {
        std::string condition;
        for (const auto& [name, value] : columns) {
            const std::string_view column = FindColumn(kFileColumns, Platform::NarrowText(name));
            if (column.empty()) return;
            condition += (condition.empty() ? "WHERE " : " AND ") + std::string(column) + " = ?";
        }
        auto statement = connection.Statement(SelectFile() + condition + " ORDER BY rowid LIMIT 1");
        int index = 0;
        for (const auto& [name, value] : columns) BindText(*statement, ++index, value);
        if (statement->executeStep()) file = FileOfRow(*statement);
    });
    return file;
}

FileItem SQLiteDB::GetDriveDataItemWithKey(const std::wstring& fileId) {
    FileItem file;
    Core::Get().Read("read a file", [&](Connection& connection) {
        auto statement = connection.Statement(SelectFile() + "WHERE fileId = ?");
        BindText(*statement, 1, fileId);
        if (statement->executeStep()) file = FileOfRow(*statement);
    });
    return file;
}

bool SQLiteDB::UpdateDriveData(const UpdateDBInfo& info) {
    return Core::Get().Write("update a file", [&](Connection& connection) { UpdateFileRow(connection, info); });
}

bool SQLiteDB::DeleteDriveDataItem(const std::wstring& fileId) {
    return Core::Get().Write("delete a file", [&](Connection& connection) {
        auto statement = connection.Statement("DELETE FROM T_cloudDriveData WHERE fileId = ?");
        BindText(*statement, 1, fileId);
        statement->exec();
    });
}

bool SQLiteDB::UpdateSyncConfItem(const std::wstring& key, const std::int64_t& value) {
    return Core::Get().Write("write a setting", [&](Connection& connection) {
        const std::string name(FindColumn(kConfColumns, Platform::NarrowText(key)));
        if (name.empty()) throw std::invalid_argument("there is no such setting");
        auto statement =
            connection.Statement("INSERT INTO T_SyncConf (id, " + name +
                                 ") VALUES (1, ?) ON CONFLICT (id) DO UPDATE SET " + name + " = excluded." + name);
        statement->bind(1, value);
        statement->exec();
    });
}

void SQLiteDB::ExcuteQuerySQL(std::list<WMap>& rows, const std::wstring& statement) {
    Core::Get().Read("run a query",
                     [&](Connection& connection) { QueryRows(connection, EncodeText(statement), rows); });
}

bool SQLiteDB::ExecuteMulitNoQuerySQL(const std::vector<std::string>& statements) {
    Core& core = Core::Get();
    return core.Write("run a batch of statements", [&](Connection& connection) {
        if (RunBatch(connection, statements)) core.Transfers().ReportEndOfAll();
    });
}

std::wstring SQLiteDB::GetDownLoadTaskSqlcmd(const std::wstring& localFileName, const std::wstring& localParentFolder,
                                             const std::wstring& fileId, const bool& isOnFetch,
                                             const std::int64_t& transferKey) {
    return DownloadTaskStatement(localFileName, localParentFolder, fileId, isOnFetch, transferKey);
}

bool SQLiteDB::InsertTaskByOnFetch(std::list<std::wstring> statements) {
    return Core::Get().Write("insert download tasks", [&](Connection& connection) {
        std::vector<std::string> narrow;
        for (const std::wstring& statement : statements) narrow.push_back(EncodeText(statement));
        // Only the rows that it changes lose their lease: the other downloads that wait must not be handed out twice.
        RunBatch(connection, narrow);
    });
}

}  // namespace Drive::SQLiteDB
