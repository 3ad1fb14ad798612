#include "tests/support/watched_database.h"

#include <utility>

#include "tests/support/journal.h"
#include "tests/support/watching.h"

// The compiler gives a member function the place of a free one whose first argument is the object.

namespace Drive::Testing {

WatchedDatabase& WatchedDatabase::Get() {
    static auto* watched = new WatchedDatabase;
    return *watched;
}

void WatchedDatabase::Reset() {
    getTaskAllItem.Reset();
    getThumbnailFileDownLoadTask.Reset();
    clearInvalidateTask.Reset();
    clearTaskTable.Reset();
    hasTransferTasks.Reset();
    getTaskItem.Reset();
    deleteTaskItem.Reset();
    updateTaskItem.Reset();
    getDriveDataItem.Reset();
    getDriveDataItemWithKey.Reset();
    updateDriveData.Reset();
    deleteDriveDataItem.Reset();
    updateSyncConfItem.Reset();
    excuteQuerySQL.Reset();
    executeMulitNoQuerySQL.Reset();
    getDownLoadTaskSqlcmd.Reset();
    insertTaskByOnFetch.Reset();
}

}  // namespace Drive::Testing

using namespace Drive;
using namespace Drive::Testing;

namespace {

template <class... Arguments>
void Record(const char* operation, const Arguments&... arguments) {
    RecordCall(Kind::Database, operation, arguments...);
}

}  // namespace

int RealGetTaskAllItem(void* self, std::vector<Common::TaskItem>& tasks, const std::string& fileStatus, const std::string& direction, int limit) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB14GetTaskAllItemERSt6vectorINS_6Common8TaskItemESaIS4_EERKNSt7__cxx1112basic_"
    "stringIcSt11char_traitsIcESaIcEEESF_i");
int WatchedGetTaskAllItem(void* self, std::vector<Common::TaskItem>& tasks, const std::string& fileStatus, const std::string& direction, int limit) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB14GetTaskAllItemERSt6vectorINS_6Common8TaskItemESaIS4_EERKNSt7__cxx1112basic_"
    "stringIcSt11char_traitsIcESaIcEEESF_i");
int WatchedGetTaskAllItem(void* self, std::vector<Common::TaskItem>& tasks, const std::string& fileStatus,
                          const std::string& direction, int limit) {
    if (Unwatched::On()) return RealGetTaskAllItem(self, tasks, fileStatus, direction, limit);
    Record("GetTaskAllItem", fileStatus, direction, limit);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> int {
        KeepBaton keep;
        return RealGetTaskAllItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getTaskAllItem.Call(real, tasks, fileStatus, direction, limit);
}

int RealGetThumbnailFileDownLoadTask(void* self, std::list<WMap>& rows, int limit) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB28GetThumbnailFileDownLoadTaskERNSt7__cxx114listISt3mapINS2_12basic_"
    "stringIwSt11char_traitsIwESaIwEEES9_St4lessIS9_ESaISt4pairIKS9_S9_EEESaISG_EEEi");
int WatchedGetThumbnailFileDownLoadTask(void* self, std::list<WMap>& rows, int limit) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB28GetThumbnailFileDownLoadTaskERNSt7__cxx114listISt3mapINS2_12basic_"
    "stringIwSt11char_traitsIwESaIwEEES9_St4lessIS9_ESaISt4pairIKS9_S9_EEESaISG_EEEi");
int WatchedGetThumbnailFileDownLoadTask(void* self, std::list<WMap>& rows, int limit) {
    if (Unwatched::On()) return RealGetThumbnailFileDownLoadTask(self, rows, limit);
    Record("GetThumbnailFileDownLoadTask", limit);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> int {
        KeepBaton keep;
        return RealGetThumbnailFileDownLoadTask(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getThumbnailFileDownLoadTask.Call(real, rows, limit);
}

void RealClearInvalidateTask(void* self) asm("__real__ZN5Drive8SQLiteDB8SQLiteDB19ClearInvalidateTaskEv");
void WatchedClearInvalidateTask(void* self) asm("__wrap__ZN5Drive8SQLiteDB8SQLiteDB19ClearInvalidateTaskEv");
void WatchedClearInvalidateTask(void* self) {
    if (Unwatched::On()) return RealClearInvalidateTask(self);
    Record("ClearInvalidateTask");
    const auto real = [self]([[maybe_unused]] auto&&... given) -> void {
        KeepBaton keep;
        return RealClearInvalidateTask(self);
    };
    return WatchedDatabase::Get().clearInvalidateTask.Call(real);
}

void RealClearTaskTable(void* self) asm("__real__ZN5Drive8SQLiteDB8SQLiteDB14ClearTaskTableEv");
void WatchedClearTaskTable(void* self) asm("__wrap__ZN5Drive8SQLiteDB8SQLiteDB14ClearTaskTableEv");
void WatchedClearTaskTable(void* self) {
    if (Unwatched::On()) return RealClearTaskTable(self);
    Record("ClearTaskTable");
    const auto real = [self]([[maybe_unused]] auto&&... given) -> void {
        KeepBaton keep;
        return RealClearTaskTable(self);
    };
    return WatchedDatabase::Get().clearTaskTable.Call(real);
}

bool RealhasTransferTasks(void* self) asm("__real__ZN5Drive8SQLiteDB8SQLiteDB16hasTransferTasksEv");
bool WatchedhasTransferTasks(void* self) asm("__wrap__ZN5Drive8SQLiteDB8SQLiteDB16hasTransferTasksEv");
bool WatchedhasTransferTasks(void* self) {
    if (Unwatched::On()) return RealhasTransferTasks(self);
    Record("hasTransferTasks");
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealhasTransferTasks(self);
    };
    return WatchedDatabase::Get().hasTransferTasks.Call(real);
}

Common::TaskItem RealGetTaskItem(void* self, const std::wstring& fileId, const int& direction) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB11GetTaskItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERKi");
Common::TaskItem WatchedGetTaskItem(void* self, const std::wstring& fileId, const int& direction) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB11GetTaskItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERKi");
Common::TaskItem WatchedGetTaskItem(void* self, const std::wstring& fileId, const int& direction) {
    if (Unwatched::On()) return RealGetTaskItem(self, fileId, direction);
    Record("GetTaskItem", fileId, direction);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> Common::TaskItem {
        KeepBaton keep;
        return RealGetTaskItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getTaskItem.Call(real, fileId, direction);
}

bool RealDeleteTaskItem(void* self, const std::wstring& fileId, int direction) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB14DeleteTaskItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEEi");
bool WatchedDeleteTaskItem(void* self, const std::wstring& fileId, int direction) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB14DeleteTaskItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEEi");
bool WatchedDeleteTaskItem(void* self, const std::wstring& fileId, int direction) {
    if (Unwatched::On()) return RealDeleteTaskItem(self, fileId, direction);
    Record("DeleteTaskItem", fileId, direction);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealDeleteTaskItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().deleteTaskItem.Call(real, fileId, direction);
}

bool RealUpdateTaskItem(void* self, const SQLiteDB::UpdateDBInfo& info,
                        int direction) asm("__real__ZN5Drive8SQLiteDB8SQLiteDB14UpdateTaskItemERKNS0_12UpdateDBInfoEi");
bool WatchedUpdateTaskItem(void* self, const SQLiteDB::UpdateDBInfo& info, int direction) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB14UpdateTaskItemERKNS0_12UpdateDBInfoEi");
bool WatchedUpdateTaskItem(void* self, const SQLiteDB::UpdateDBInfo& info, int direction) {
    if (Unwatched::On()) return RealUpdateTaskItem(self, info, direction);
    Record("UpdateTaskItem", info, direction);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealUpdateTaskItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().updateTaskItem.Call(real, info, direction);
}

Common::FileItem RealGetDriveDataItem(void* self, WMap columns) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB16GetDriveDataItemESt3mapINSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEES8_St4lessIS8_ESaISt4pairIKS8_S8_EEE");
Common::FileItem WatchedGetDriveDataItem(void* self, WMap columns) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB16GetDriveDataItemESt3mapINSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEES8_St4lessIS8_ESaISt4pairIKS8_S8_EEE");
Common::FileItem WatchedGetDriveDataItem(void* self, WMap columns) {
    if (Unwatched::On()) return RealGetDriveDataItem(self, columns);
    Record("GetDriveDataItem", columns);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> Common::FileItem {
        KeepBaton keep;
        return RealGetDriveDataItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getDriveDataItem.Call(real, columns);
}

Common::FileItem RealGetDriveDataItemWithKey(void* self, const std::wstring& fileId) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB23GetDriveDataItemWithKeyERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEE");
Common::FileItem WatchedGetDriveDataItemWithKey(void* self, const std::wstring& fileId) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB23GetDriveDataItemWithKeyERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEE");
Common::FileItem WatchedGetDriveDataItemWithKey(void* self, const std::wstring& fileId) {
    if (Unwatched::On()) return RealGetDriveDataItemWithKey(self, fileId);
    Record("GetDriveDataItemWithKey", fileId);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> Common::FileItem {
        KeepBaton keep;
        return RealGetDriveDataItemWithKey(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getDriveDataItemWithKey.Call(real, fileId);
}

bool RealUpdateDriveData(void* self, const SQLiteDB::UpdateDBInfo& info) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB15UpdateDriveDataERKNS0_12UpdateDBInfoE");
bool WatchedUpdateDriveData(void* self, const SQLiteDB::UpdateDBInfo& info) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB15UpdateDriveDataERKNS0_12UpdateDBInfoE");
bool WatchedUpdateDriveData(void* self, const SQLiteDB::UpdateDBInfo& info) {
    if (Unwatched::On()) return RealUpdateDriveData(self, info);
    Record("UpdateDriveData", info);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealUpdateDriveData(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().updateDriveData.Call(real, info);
}

bool RealDeleteDriveDataItem(void* self, const std::wstring& fileId) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB19DeleteDriveDataItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedDeleteDriveDataItem(void* self, const std::wstring& fileId) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB19DeleteDriveDataItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEE");
bool WatchedDeleteDriveDataItem(void* self, const std::wstring& fileId) {
    if (Unwatched::On()) return RealDeleteDriveDataItem(self, fileId);
    Record("DeleteDriveDataItem", fileId);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealDeleteDriveDataItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().deleteDriveDataItem.Call(real, fileId);
}

bool RealUpdateSyncConfItem(void* self, const std::wstring& key, const std::int64_t& value) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB18UpdateSyncConfItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERKl");
bool WatchedUpdateSyncConfItem(void* self, const std::wstring& key, const std::int64_t& value) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB18UpdateSyncConfItemERKNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERKl");
bool WatchedUpdateSyncConfItem(void* self, const std::wstring& key, const std::int64_t& value) {
    if (Unwatched::On()) return RealUpdateSyncConfItem(self, key, value);
    Record("UpdateSyncConfItem", key, value);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealUpdateSyncConfItem(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().updateSyncConfItem.Call(real, key, value);
}

void RealExcuteQuerySQL(void* self, std::list<WMap>& rows, const std::wstring& statement) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB14ExcuteQuerySQLERNSt7__cxx114listISt3mapINS2_12basic_stringIwSt11char_"
    "traitsIwESaIwEEES9_St4lessIS9_ESaISt4pairIKS9_S9_EEESaISG_EEERSD_");
void WatchedExcuteQuerySQL(void* self, std::list<WMap>& rows, const std::wstring& statement) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB14ExcuteQuerySQLERNSt7__cxx114listISt3mapINS2_12basic_stringIwSt11char_"
    "traitsIwESaIwEEES9_St4lessIS9_ESaISt4pairIKS9_S9_EEESaISG_EEERSD_");
void WatchedExcuteQuerySQL(void* self, std::list<WMap>& rows, const std::wstring& statement) {
    if (Unwatched::On()) return RealExcuteQuerySQL(self, rows, statement);
    Record("ExcuteQuerySQL", statement);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> void {
        KeepBaton keep;
        return RealExcuteQuerySQL(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().excuteQuerySQL.Call(real, rows, statement);
}

bool RealExecuteMulitNoQuerySQL(void* self, const std::vector<std::string>& statements) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB22ExecuteMulitNoQuerySQLERKSt6vectorINSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEESaIS8_EE");
bool WatchedExecuteMulitNoQuerySQL(void* self, const std::vector<std::string>& statements) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB22ExecuteMulitNoQuerySQLERKSt6vectorINSt7__cxx1112basic_stringIcSt11char_"
    "traitsIcESaIcEEESaIS8_EE");
bool WatchedExecuteMulitNoQuerySQL(void* self, const std::vector<std::string>& statements) {
    if (Unwatched::On()) return RealExecuteMulitNoQuerySQL(self, statements);
    Record("ExecuteMulitNoQuerySQL", statements);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealExecuteMulitNoQuerySQL(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().executeMulitNoQuerySQL.Call(real, statements);
}

std::wstring
RealGetDownLoadTaskSqlcmd(void* self, const std::wstring& localFileName, const std::wstring& localParentFolder, const std::wstring& fileId, const bool& isOnFetch, const std::int64_t& transferKey) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB21GetDownLoadTaskSqlcmdERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEES9_S9_RKbRKl");
std::wstring
WatchedGetDownLoadTaskSqlcmd(void* self, const std::wstring& localFileName, const std::wstring& localParentFolder, const std::wstring& fileId, const bool& isOnFetch, const std::int64_t& transferKey) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB21GetDownLoadTaskSqlcmdERKNSt7__cxx1112basic_stringIwSt11char_"
    "traitsIwESaIwEEES9_S9_RKbRKl");
std::wstring WatchedGetDownLoadTaskSqlcmd(void* self, const std::wstring& localFileName,
                                          const std::wstring& localParentFolder, const std::wstring& fileId,
                                          const bool& isOnFetch, const std::int64_t& transferKey) {
    if (Unwatched::On())
        return RealGetDownLoadTaskSqlcmd(self, localFileName, localParentFolder, fileId, isOnFetch, transferKey);
    Record("GetDownLoadTaskSqlcmd", localFileName, localParentFolder, fileId, isOnFetch, transferKey);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> std::wstring {
        KeepBaton keep;
        return RealGetDownLoadTaskSqlcmd(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().getDownLoadTaskSqlcmd.Call(real, localFileName, localParentFolder, fileId, isOnFetch,
                                                             transferKey);
}

bool RealInsertTaskByOnFetch(void* self, std::list<std::wstring> statements) asm(
    "__real__ZN5Drive8SQLiteDB8SQLiteDB19InsertTaskByOnFetchENSt7__cxx114listINS2_12basic_stringIwSt11char_"
    "traitsIwESaIwEEESaIS8_EEE");
bool WatchedInsertTaskByOnFetch(void* self, std::list<std::wstring> statements) asm(
    "__wrap__ZN5Drive8SQLiteDB8SQLiteDB19InsertTaskByOnFetchENSt7__cxx114listINS2_12basic_stringIwSt11char_"
    "traitsIwESaIwEEESaIS8_EEE");
bool WatchedInsertTaskByOnFetch(void* self, std::list<std::wstring> statements) {
    if (Unwatched::On()) return RealInsertTaskByOnFetch(self, statements);
    Record("InsertTaskByOnFetch", statements);
    const auto real = [self]([[maybe_unused]] auto&&... given) -> bool {
        KeepBaton keep;
        return RealInsertTaskByOnFetch(self, std::forward<decltype(given)>(given)...);
    };
    return WatchedDatabase::Get().insertTaskByOnFetch.Call(real, statements);
}
