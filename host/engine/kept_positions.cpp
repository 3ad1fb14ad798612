#include "host/engine/kept_positions.h"

#include <limits>

#include "host/get/decide.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"

namespace Drive::Host {

using SQLiteDB::MakePair;
using SQLiteDB::SyncRows;
using SQLiteDB::UpdateDBInfo;

std::vector<Common::TaskItem> ReadPositions() {
    std::vector<Common::TaskItem> kept;
    for (Common::TaskItem& task : SyncRows::Tasks(std::numeric_limits<int>::max())) {
        if (task.GetDirection() != 1) {
            continue;
        }
        if (ReadTaskFacts(task.GetFragmentInfo()).damaged) {
            task.SetFragmentInfo(L"");  // it waits all the same, and begins anew
        }
        kept.push_back(std::move(task));
    }
    return kept;
}

void RestorePositions(const std::vector<Common::TaskItem>& tasks) {
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    for (const Common::TaskItem& task : tasks) {
        const std::wstring& fileId = task.GetFileId();
        const bool dropped = database.GetTaskItem(fileId, 1).GetFileId().empty() &&
                             database.GetDriveDataItemWithKey(fileId).GetFileStatus() == 23;
        if (!dropped || !SyncRows::PutTask(fileId, 1, 1)) {
            continue;
        }
        UpdateDBInfo record;
        record.key = fileId;
        record.columns.insert(MakePair(L"fragmentInfo", task.GetFragmentInfo()));
        UpdateDBInfo status;
        status.key = fileId;
        status.columns.insert(MakePair(L"fileStatus", 21));
        if (database.UpdateTaskItem(record, 1)) {
            database.UpdateDriveData(status);
        }
    }
}

}  // namespace Drive::Host
