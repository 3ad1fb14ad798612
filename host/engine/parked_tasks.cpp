#include "host/engine/parked_tasks.h"

#include <limits>
#include <stdexcept>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

using SQLiteDB::SyncRows;

void ParkDirection(int direction, HostRecords& records) {
    for (const Common::TaskItem& task : SyncRows::Tasks(std::numeric_limits<int>::max())) {
        if (task.GetDirection() != direction) {
            continue;
        }
        records.Park({Platform::NarrowText(task.GetFileId()), direction, task.GetPriority(),
                      Platform::NarrowText(task.GetFragmentInfo())});
        if (!SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(task.GetFileId(), direction)) {
            throw std::runtime_error("a task could not be set aside; see logs/transfer.log in the state folder");
        }
    }
}

bool BringBack(const ParkedTask& task) {
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    const std::wstring fileId = Platform::WidenText(task.fileId);
    if (database.GetDriveDataItemWithKey(fileId).GetFileId().empty()) {
        return true;  // the file is gone, and its task with it
    }
    SQLiteDB::UpdateDBInfo record;
    record.key = fileId;
    record.columns.insert(SQLiteDB::MakePair(L"fragmentInfo", Platform::WidenText(task.fragmentInfo)));
    return SyncRows::PutTask(fileId, task.direction, task.priority) && database.UpdateTaskItem(record, task.direction);
}

}  // namespace

void ParkAll(HostRecords& records) {
    ParkDirection(1, records);
    ParkDirection(2, records);
}

void ShowOnly(int direction, HostRecords& records) {
    ParkDirection(direction == 1 ? 2 : 1, records);
    for (const ParkedTask& task : records.Parked(direction)) {
        if (!BringBack(task)) {
            throw std::runtime_error("a task could not be taken up again; see logs/transfer.log in the state folder");
        }
        records.Unpark(task.fileId, direction);
    }
}

}  // namespace Drive::Host
