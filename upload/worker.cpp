#include <exception>
#include <memory>
#include <utility>

#include "interfaces/common/client_messages.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "service/shared/transfer_common.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using SQLiteDB::MakePair;

/// The largest int less 3: the priority stops growing here, so that the addition cannot overflow.
constexpr int kPriorityCeiling = 2147483644;

std::string IdText(const Common::TaskItem& task) { return TypeConvert::WStringToString(task.GetFileId()); }

void DeleteTask(const Common::TaskItem& task) {
    SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(task.GetFileId(), kDirectionUpload);
}

void HoldBack(WMap& fileColumns) {
    fileColumns.insert(MakePair(L"fileStatus", kFileUploadFailed));
    fileColumns.insert(MakePair(L"status", kStatusHeldBack));
}

}  // namespace

std::uint32_t UpLoadTaskManger::UploadThreadFunc(void* argument) {
    Common::FileItem file;
    Common::TaskItem task;
    {
        const std::unique_ptr<Common::TaskItem> owned(static_cast<Common::TaskItem*>(argument));
        task = *owned;
    }
    UpLoadTaskManger& engine = getInstance();
    WMap taskColumns;
    try {
        engine.runWorker(task, file, taskColumns);
    } catch (const std::exception& error) {
        engine.endAfterException(task, taskColumns, error.what());
    } catch (...) {
        engine.endAfterException(task, taskColumns, "unknown exception");
    }
    return 0;
}

void UpLoadTaskManger::runWorker(Common::TaskItem& task, Common::FileItem& file, WMap& taskColumns) {
    if (!TransferCommon::getInstance().getTransferFileItem(task, file, L"", true)) {
        // Deliberately an end without a begin: whoever counts slots looks at the end alone.
        uploadTaskCallback(2, 1);
        SyncPanelLog::WriteTraceLog(
            "UpLoadTaskManger.UploadThreadFunc: checkUpdateFileItemStatus fail fileId=" + IdText(task) +
            ";taskId=" + std::to_string(task.GetTaskId()) + ";fileStatus=" + std::to_string(file.GetFileStatus()));
        return;
    }
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc:file upload task begin fileId=" + IdText(task) +
                                ";taskId=" + std::to_string(task.GetTaskId()) +
                                ";size=" + std::to_string(file.GetSize()));
    SyncPanelLog::WriteDebugLog("file upload task begin:" + TypeConvert::WStringToString(file.GetLocalFileName()));

    updateUploadingTaskCount(1);
    uploadTaskCallback(2, 0);
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc: uploadTaskCount=:" +
                                std::to_string(uploadingTaskCount));

    const TaskResult result = uploadTask(task, file);
    WMap fileColumns;
    applyResult(result, task, file, taskColumns, fileColumns);
    taskColumns.insert(MakePair(L"TaskStatus", kTaskWaiting));
    SQLiteDB::SQLiteDB& database = SQLiteDB::SQLiteDB::GetInstance();
    if (!fileColumns.empty()) database.UpdateDriveData(RowUpdate(task.GetFileId(), fileColumns));
    // Also after the row was deleted; it then changes nothing.
    database.UpdateTaskItem(RowUpdate(task.GetFileId(), taskColumns), kDirectionUpload);

    updateUploadingTaskCount(-1);
    uploadTaskCallback(2, 1);
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:" +
                                std::to_string(uploadingTaskCount));
    Common::RefreshShellIcon::RefreshFile(file.GetFileClientPath());
}

void UpLoadTaskManger::applyResult(TaskResult result, const Common::TaskItem& task, const Common::FileItem& file,
                                   WMap& taskColumns, WMap& fileColumns) {
    switch (result) {
        case TaskResultFailure:
            if (task.GetPriority() < kPriorityCeiling) {
                taskColumns.insert(MakePair(L"Priority", task.GetPriority() + kPriorityStep));
            }
            fileColumns.insert(MakePair(L"fileStatus", kFileUploadFailed));
            SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc:file upload task end failure fileid=" +
                                        IdText(task));
            break;
        case TaskResultSuccess:
            uploadServiceCallback(1, file.GetFileClientPath());
            DeleteTask(task);
            SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc:file upload task end Success fileid=" +
                                        IdText(task));
            break;
        case TaskResultDeleteForRetry:
            DeleteTask(task);
            fileColumns.insert(MakePair(L"fileStatus", kFileUploadFailed));
            SyncPanelLog::WriteTraceLog(
                "UpLoadTaskManger.UploadThreadFunc:file upload task end fail del for retry task fileid=" +
                IdText(task));
            break;
        case TaskResultDeleteTask:
            DeleteTask(task);
            HoldBack(fileColumns);
            SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc:file upload task end fail del task fileid=" +
                                        IdText(task));
            break;
        case TaskResultNoSync:
            HoldBack(fileColumns);
            SyncPanelLog::WriteTraceLog("UpLoadTaskManger.UploadThreadFunc:file upload task end fail nosync fileid=" +
                                        IdText(task));
            break;
        case TaskResultStop:
            fileColumns.insert(MakePair(L"fileStatus", kFileUploadFailed));
            SyncPanelLog::WriteTraceLog(
                "UpLoadTaskManger.UploadThreadFunc:file upload task end fail stop task fileid=" + IdText(task));
            break;
        case TaskResultOnlyDeleteTask:
            DeleteTask(task);
            SyncPanelLog::WriteTraceLog(
                "UpLoadTaskManger.UploadThreadFunc:file upload task end fail only del task fileid=" + IdText(task));
            break;
        default:
            fileColumns.insert(MakePair(L"fileStatus", kFileUploadFailed));
            break;
    }
}

void UpLoadTaskManger::endAfterException(const Common::TaskItem& task, WMap& taskColumns, const std::string& what) {
    // A callback that throws again, or was never installed, must not take the error line with it.
    try {
        taskColumns.insert(MakePair(L"TaskStatus", kTaskWaiting));
        SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(RowUpdate(task.GetFileId(), taskColumns), kDirectionUpload);
    } catch (...) {
    }
    // Deliberately also for an exception that came before the count went up: the count stops at zero.
    updateUploadingTaskCount(-1);
    try {
        uploadTaskCallback(2, 1);
    } catch (...) {
    }
    // The function name is deliberate.
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "StartUpLoadMangerService", "error " + what);
}

}  // namespace Drive::TransferService
