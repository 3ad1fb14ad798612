#pragma once

#include <list>
#include <string>
#include <vector>

#include "interfaces/database/sqlite_db.h"
#include "tests/support/operation.h"

namespace Drive::Testing {

/// Every operation of the database that the engine uses: each call is a line of the journal ("db Operation(arguments)",
/// an update as "UpdateDriveData(id, {column: value, ...})"), then the script answers, and without a script the real
/// one.
class WatchedDatabase {
public:
    static WatchedDatabase& Get();
    void Reset();

    Operation<int(std::vector<Common::TaskItem>&, const std::string&, const std::string&, int)> getTaskAllItem;
    Operation<int(std::list<WMap>&, int)> getThumbnailFileDownLoadTask;
    Operation<void()> clearInvalidateTask;
    Operation<void()> clearTaskTable;
    Operation<bool()> hasTransferTasks;
    Operation<Common::TaskItem(const std::wstring&, const int&)> getTaskItem;
    Operation<bool(const std::wstring&, int)> deleteTaskItem;
    Operation<bool(const SQLiteDB::UpdateDBInfo&, int)> updateTaskItem;
    Operation<Common::FileItem(WMap)> getDriveDataItem;
    Operation<Common::FileItem(const std::wstring&)> getDriveDataItemWithKey;
    Operation<bool(const SQLiteDB::UpdateDBInfo&)> updateDriveData;
    Operation<bool(const std::wstring&)> deleteDriveDataItem;
    Operation<bool(const std::wstring&, const std::int64_t&)> updateSyncConfItem;
    Operation<void(std::list<WMap>&, const std::wstring&)> excuteQuerySQL;
    Operation<bool(const std::vector<std::string>&)> executeMulitNoQuerySQL;
    Operation<std::wstring(const std::wstring&, const std::wstring&, const std::wstring&, const bool&,
                           const std::int64_t&)>
        getDownLoadTaskSqlcmd;
    Operation<bool(std::list<std::wstring>)> insertTaskByOnFetch;
};

}  // namespace Drive::Testing
