#include "host/engine/parked_tasks.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

using SQLiteDB::SyncRows;

/// Tasks that change hands in one transaction: each costs a wait for the disk, and a backlog may be a million long.
constexpr std::size_t kTasksInBatch = 1000;

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted.append(character == '\'' ? 2 : 1, character);
    }
    return quoted + "'";
}

bool Run(const std::vector<std::string>& statements) {
    return statements.empty() || SQLiteDB::SQLiteDB::GetInstance().ExecuteMulitNoQuerySQL(statements);
}

// The host's records come first: a crash in between leaves a task in both places, and the next run parks it again.
void ParkBatch(const std::vector<ParkedTask>& tasks, HostRecords& records) {
    std::vector<std::string> statements;
    records.Begin();
    for (const ParkedTask& task : tasks) {
        records.Park(task);
        statements.push_back("DELETE FROM T_task WHERE fileId = " + Quoted(task.fileId) +
                             " AND direction = " + std::to_string(task.direction));
    }
    records.Commit();
    if (!Run(statements)) {
        throw std::runtime_error("tasks could not be set aside; see logs/transfer.log in the state folder");
    }
}

void ParkDirection(int direction, HostRecords& records) {
    std::vector<ParkedTask> batch;
    for (const Common::TaskItem& task : SyncRows::Tasks(std::numeric_limits<int>::max())) {
        if (task.GetDirection() != direction) {
            continue;
        }
        batch.push_back({Platform::NarrowText(task.GetFileId()), direction, task.GetPriority(),
                         Platform::NarrowText(task.GetFragmentInfo())});
        if (batch.size() == kTasksInBatch) {
            ParkBatch(batch, records);
            batch.clear();
        }
    }
    ParkBatch(batch, records);
}

// The rows come first, and only then the host's records forget.
void BringBackBatch(const std::vector<ParkedTask>& tasks, HostRecords& records) {
    std::vector<std::string> statements;
    for (const ParkedTask& task : tasks) {
        const std::wstring fileId = Platform::WidenText(task.fileId);
        if (SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItemWithKey(fileId).GetFileId().empty()) {
            continue;  // the file is gone, and its task with it
        }
        statements.push_back("INSERT INTO T_task (fileId, direction, Priority, fragmentInfo) VALUES (" +
                             Quoted(task.fileId) + ", " + std::to_string(task.direction) + ", " +
                             std::to_string(task.priority) + ", " + Quoted(task.fragmentInfo) +
                             ") ON CONFLICT (fileId, direction) DO UPDATE SET fragmentInfo = excluded.fragmentInfo");
    }
    if (!Run(statements)) {
        throw std::runtime_error("tasks could not be taken up again; see logs/transfer.log in the state folder");
    }
    records.Begin();
    for (const ParkedTask& task : tasks) {
        records.Unpark(task.fileId, task.direction);
    }
    records.Commit();
}

// Left by a "thumbnails" that was killed. Its pictures belong into another folder than the one that is set now, where
// they would be taken for those of a file that goes up.
void DropPictures() {
    if (!Run({"DELETE FROM T_task WHERE direction = 3"})) {
        throw std::runtime_error("tasks could not be set aside; see logs/transfer.log in the state folder");
    }
}

}  // namespace

void ParkAll(HostRecords& records) {
    ParkDirection(1, records);
    ParkDirection(2, records);
    DropPictures();
}

void ShowOnly(int direction, HostRecords& records) {
    DropPictures();
    ParkDirection(direction == 1 ? 2 : 1, records);
    const std::vector<ParkedTask> parked = records.Parked(direction);
    for (std::size_t begin = 0; begin < parked.size(); begin += kTasksInBatch) {
        const std::size_t end = std::min(begin + kTasksInBatch, parked.size());
        BringBackBatch(
            {parked.begin() + static_cast<std::ptrdiff_t>(begin), parked.begin() + static_cast<std::ptrdiff_t>(end)},
            records);
    }
}

}  // namespace Drive::Host
