#include <exception>
#include <memory>
#include <string>

#include "download/download_task_manager.h"
#include "interfaces/common/client_messages.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "service/shared/transfer_common.h"

namespace Drive::TransferService {

namespace {

constexpr Platform::DWORD kPlaceholderFlags = 0x80000004;

DOWNLOADTASK_CONTEXT MakeJob(const Common::FileItem& file, bool isPlatformFetch) {
    DOWNLOADTASK_CONTEXT job;
    job.relativePath = file.GetLocalParentFolder() + file.GetName();
    job.localFilePath = g_clientSyncRootFolder + job.relativePath;
    job.fileId = file.GetFileId();
    job.fileSize = file.GetSize();
    job.attachmentSize = file.GetAttachmentSize();
    job.hash = file.GetHash();
    job.isPlatformFetch = isPlatformFetch;
    return job;
}

int SlotOf(const Common::TaskItem& task) { return static_cast<int>(task.GetTransferKey()); }

}  // namespace

std::uint32_t DownLoadTaskManger::DownloadThreadFunc(void* param) {
    DownLoadTaskManger& engine = getInstance();
    Common::TaskItem task;
    const auto giveUp = [&](const char* what) {
        engine.updateDownloadingTaskCount(-1);
        try {
            (*engine.taskSemaphoreCallback)(SlotOf(task));
        } catch (...) {
            // Nothing leaves a worker; the error that brought it here is the one to be told.
        }
        SyncPanelLog::WriteErrorLog("DownloadTaskManager", "PoolDownloadThreadFunc", what);
    };
    try {
        const std::unique_ptr<Common::TaskItem> owned(static_cast<Common::TaskItem*>(param));
        task = *owned;
        engine.runJob(task);
    } catch (const std::exception& error) {
        // The count goes down even when it had not been raised, and the rows are left as they are; deliberate.
        giveUp(error.what());
    } catch (...) {
        giveUp("unknown!!!");
    }
    return 0;
}

void DownLoadTaskManger::runJob(Common::TaskItem& task) {
    const bool isPlatformFetch = task.GetTransferKey() >= 1;
    if (!isPlatformFetch) task.SetTransferKey(kKeyBackground);
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:" +
                                std::to_string(getDownloadingTaskCount()));

    Common::FileItem file;
    if (!TransferCommon::getInstance().getTransferFileItem(task, file, std::wstring(), true)) {
        SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(task.GetFileId(), kDirectionDownload);
        (*taskSemaphoreCallback)(SlotOf(task));
        return;
    }
    DOWNLOADTASK_CONTEXT job = MakeJob(file, isPlatformFetch);
    job.transferKey = 0;  // stays so until the host answers the first event
    if (isPlatformFetch) {
        const bool exclusive = task.GetTransferKey() == kKeyNormal;
        job.fileHandle =
            Platform::CreateFileW(job.localFilePath.c_str(), exclusive ? 0x80000080 : 0x80, exclusive ? 0 : 1, nullptr,
                                  Platform::kOpenExisting, kPlaceholderFlags, nullptr);
        if (job.fileHandle == Platform::kInvalidHandle) {
            refuseUnopenedPlaceholder(job, task);
            return;
        }
    }
    try {
        carryOut(job, task, file);
    } catch (...) {
        closePlaceholder(job);
        throw;
    }
}

void DownLoadTaskManger::carryOut(DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task, const Common::FileItem& file) {
    updateDownloadingTaskCount(+1);
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.DownloadThreadFunc: downloadingTaskCount=:" +
                                std::to_string(getDownloadingTaskCount()));
    // Entered under the local name and erased below under the cloud's; deliberate.
    InsertOperatingFiles(file.GetLocalParentFolder() + file.GetLocalFileName(), FileChangeType::Transfer);
    Common::RefreshShellIcon::RefreshFile(job.localFilePath);
    (*taskSemaphoreCallback)(0);

    while (applyOutcome(downLoadTask(job, task), job, task)) {
    }
    finishJob(job, task);
}

void DownLoadTaskManger::refuseUnopenedPlaceholder(const DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task) {
    auto& database = SQLiteDB::SQLiteDB::GetInstance();
    database.DeleteTaskItem(job.fileId, kDirectionDownload);
    database.UpdateDriveData(
        RowUpdate(job.fileId, {SQLiteDB::MakePair(L"fileStatus", std::int64_t{kFileDownloadFailed})}));
    (*taskSemaphoreCallback)(SlotOf(task));
}

bool DownLoadTaskManger::closePlaceholder(DOWNLOADTASK_CONTEXT& job) {
    if (!job.isPlatformFetch || !Platform::IsOpenHandle(job.fileHandle)) return false;
    Platform::CloseHandle(job.fileHandle);
    job.fileHandle = nullptr;
    return true;
}

void DownLoadTaskManger::finishJob(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task) {
    if (closePlaceholder(job)) {
        SyncPanelLog::WriteDebugLog("****** Close File HANDLE = " + TypeConvert::WStringToString(job.localFilePath));
    }
    updateDownloadingTaskCount(-1);
    (*taskSemaphoreCallback)(SlotOf(task));
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.DownloadThreadFunc: End downloadingTaskCount=:" +
                                std::to_string(getDownloadingTaskCount()));
    EraseOpetatingFile(job.relativePath);
    Common::RefreshShellIcon::RefreshFile(job.localFilePath);
}

}  // namespace Drive::TransferService
