#include "collaborators/database/core.h"
#include "collaborators/database/rows.h"
#include "collaborators/database/schema.h"
#include "interfaces/database/sync_rows.h"

/// The operations that may walk the whole table: each on a connection of its own.
namespace Drive::SQLiteDB {

using Common::FileItem;

namespace {

using Counts = std::vector<std::pair<int, std::int64_t>>;

Counts CountBy(const char* operation, const std::string& text) {
    Counts counts;
    const bool done = Core::Get().Scan(operation, [&](Connection& connection) {
        auto statement = connection.Statement(text);
        while (statement->executeStep()) {
            counts.emplace_back(statement->getColumn(0).getInt(), statement->getColumn(1).getInt64());
        }
    });
    return done ? counts : Counts();
}

}  // namespace

bool SyncRows::ForEachFile(const std::function<bool(const FileItem&)>& visit) {
    return Core::Get().Scan("walk the files", [&](Connection& connection) {
        auto statement = connection.Statement(SelectFile() + "ORDER BY localParentFolder, localFileName, rowid");
        while (statement->executeStep() && visit(FileOfRow(*statement))) {
        }
    });
}

std::vector<FileItem> SyncRows::FilesWithoutTask(const std::vector<int>& fileStatus, int direction, int limit) {
    std::vector<FileItem> files;
    if (fileStatus.empty() || limit <= 0) return files;
    const bool done = Core::Get().Scan("look for files without a task", [&](Connection& connection) {
        std::string list;
        for (const int status : fileStatus) list += (list.empty() ? "" : ",") + std::to_string(status);
        auto statement = connection.Statement(
            SelectFile() + "f WHERE f.fileStatus IN (" + list +
            ") AND f.isFolder = 0 AND NOT EXISTS (SELECT 1 FROM T_task t WHERE t.fileId = f.fileId AND "
            "t.direction = ?) LIMIT ?");
        statement->bind(1, direction);
        statement->bind(2, limit);
        while (statement->executeStep()) files.push_back(FileOfRow(*statement));
    });
    return done ? files : std::vector<FileItem>();
}

std::vector<Common::TaskItem> SyncRows::Tasks(int limit) {
    std::vector<Common::TaskItem> tasks;
    if (limit <= 0) return tasks;
    const bool done = Core::Get().Scan("list the tasks", [&](Connection& connection) {
        auto statement = connection.Statement(SelectTask() + "ORDER BY Priority, taskId LIMIT ?");
        statement->bind(1, limit);
        while (statement->executeStep()) tasks.push_back(TaskOfRow(*statement, kMissingKeyInBatch));
    });
    return done ? tasks : std::vector<Common::TaskItem>();
}

std::vector<FileItem> SyncRows::DisplacedFiles(int limit) {
    std::vector<FileItem> files;
    if (limit <= 0) return files;
    const bool done = Core::Get().Scan("list the displaced files", [&](Connection& connection) {
        auto statement = connection.Statement("SELECT " + ColumnList(kFileColumns) +
                                              " FROM T_displacedDriveData ORDER BY displacedId DESC LIMIT ?");
        statement->bind(1, limit);
        while (statement->executeStep()) files.push_back(FileOfRow(*statement));
    });
    return done ? files : std::vector<FileItem>();
}

std::vector<std::pair<int, std::int64_t>> SyncRows::CountByStatus() {
    return CountBy("count the files",
                   "SELECT fileStatus, count(*) FROM T_cloudDriveData WHERE isFolder = 0 GROUP BY fileStatus");
}

std::vector<std::pair<int, std::int64_t>> SyncRows::CountTasksByDirection() {
    return CountBy("count the tasks",
                   "SELECT direction, count(*) FROM T_task WHERE direction IN (1,2,3) GROUP BY direction");
}

}  // namespace Drive::SQLiteDB
