#include "service/shared/transfer_common.h"

#include <cwchar>
#include <exception>
#include <list>
#include <mutex>

#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"

namespace Drive::TransferService {

namespace {

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

// The texts are not escaped: a name with a quote breaks the statement, which then finds no row.
std::wstring LookUpStatement(const std::wstring& localName, const std::wstring& folder, const std::wstring& fileId) {
    std::wstring statement =
        L"SELECT IFNULL(c.fileId,'') as fileId, IFNULL(t.taskId,0) as taskId,c.fileStatus FROM T_cloudDriveData c LEFT "
        L"JOIN T_task t ON t.fileId = c.fileId WHERE isFolder = 0  AND localFileName = '" +
        localName + L"' AND localParentFolder = '" + folder + L"'";
    statement += fileId.empty() ? L" AND c.fileId NOT LIKE 'Local%'" : L" AND c.fileId = '" + fileId + L"'";
    return statement;
}

// Finds the row of a local path. False when there is none.
bool FindByPath(Common::TaskItem& task, const Common::FileItem& file, const std::wstring& path, int& status) {
    std::wstring folder;
    std::wstring localName;
    Common::FileHepler::GetFileFolderAndLocalname(path, folder, localName);
    std::list<WMap> rows;
    Database().ExcuteQuerySQL(rows, LookUpStatement(localName, folder, file.GetFileId()));
    if (rows.empty()) return false;
    WMap& row = rows.front();
    status = static_cast<int>(std::wcstol(row[L"fileStatus"].c_str(), nullptr, 10));
    const std::int64_t taskId = std::wcstoll(row[L"taskId"].c_str(), nullptr, 10);
    if (taskId > 0) task.SetTaskId(taskId);
    task.SetFileId(row[L"fileId"]);
    return true;
}

}  // namespace

TransferCommon& TransferCommon::getInstance() {
    static TransferCommon instance;
    return instance;
}

bool TransferCommon::getTransferFileItem(Common::TaskItem& task, Common::FileItem& file, const std::wstring& path,
                                         bool claim) {
    try {
        if (task.GetDirection() == kDirectionDownload) return lookUpDownload(task, file, path, claim);
        if (task.GetDirection() == kDirectionUpload) return claimUpload(task, file);
        return true;
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("TransferCommon", "getTransferFileItem", std::string("error:") + error.what());
        return false;
    }
}

bool TransferCommon::lookUpDownload(Common::TaskItem& task, Common::FileItem& file, const std::wstring& path,
                                    bool claim) {
    std::lock_guard lock(*downloadItemMutex);
    int status = 0;
    if (!task.GetFileId().empty()) {
        file = Database().GetDriveDataItemWithKey(task.GetFileId());
        if (file.GetFileId().empty()) return false;
        status = file.GetFileStatus();
    } else if (!FindByPath(task, file, path, status)) {
        return false;
    }
    if (status == kFileDownloading) return false;
    if (claim) {
        file.SetFileStatus(kFileDownloading);
        Database().UpdateDriveData(
            RowUpdate(file.GetFileId(), {SQLiteDB::MakePair(L"fileStatus", std::int64_t{kFileDownloading})}));
    }
    return true;
}

bool TransferCommon::claimUpload(const Common::TaskItem& task, Common::FileItem& file) {
    std::lock_guard lock(*uploadItemMutex);
    const std::wstring& fileId = task.GetFileId();
    if (fileId.empty()) return true;
    const std::string id = TypeConvert::WStringToString(fileId);
    file = Database().GetDriveDataItemWithKey(fileId);
    if (file.GetFileStatus() == kFileUploading) {
        SyncPanelLog::WriteTraceLog("FileId=" + id + ";File is Uploading");
        return false;
    }
    if (Database().UpdateDriveData(
            RowUpdate(fileId, {SQLiteDB::MakePair(L"fileStatus", std::int64_t{kFileUploading})}))) {
        file.SetFileStatus(kFileUploading);
        SyncPanelLog::WriteTraceLog("FileId=" + id + ";Set TransferFileStatus To Uploading");
    }
    const Common::TaskItem row = Database().GetTaskItem(fileId, kDirectionUpload);
    if (row.GetTaskstatus() == kTaskRunning) {
        SyncPanelLog::WriteTraceLog("FileId=" + id + ";Task is Running");
        return false;
    }
    if (!Database().UpdateTaskItem(RowUpdate(fileId, {SQLiteDB::MakePair(L"TaskStatus", std::int64_t{kTaskRunning})}),
                                   kDirectionUpload)) {
        return false;
    }
    SyncPanelLog::WriteTraceLog("FileId=" + TypeConvert::WStringToString(row.GetFileId()) + ";Set Task To Run");
    return true;
}

}  // namespace Drive::TransferService
