#include <string>

#include "download/download_task_manager.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/clock.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"

namespace Drive::TransferService {

namespace {

constexpr int kLastPriorityForRetry = 10;
constexpr Platform::DWORD kRetryPause = 3000;

SQLiteDB::SQLiteDB& Database() { return SQLiteDB::SQLiteDB::GetInstance(); }

void DeleteTask(const DOWNLOADTASK_CONTEXT& job) { Database().DeleteTaskItem(job.fileId, kDirectionDownload); }

void WriteFileStatus(const DOWNLOADTASK_CONTEXT& job, int status) {
    Database().UpdateDriveData(RowUpdate(job.fileId, {SQLiteDB::MakePair(L"fileStatus", std::int64_t{status})}));
}

void Trace(const char* text, const DOWNLOADTASK_CONTEXT& job) {
    SyncPanelLog::WriteTraceLog(text + TypeConvert::WStringToString(job.fileId));
}

}  // namespace

// Turns a result into rows and events. True: the same worker makes another pass.
bool DownLoadTaskManger::applyOutcome(TaskResult result, DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task) {
    switch (result) {
        case TaskResultSuccess:
            finishSuccess(job);
            return false;
        case TaskResultFailure:
            finishFailure(job);
            break;
        case TaskResultCancel:
            finishCancel(job);
            break;
        case TaskResultStop:
            finishStop(job);
            break;
        case TaskResultRetry:
            return finishRetry(job, task);
        default:
            return false;
    }
    raiseClosingEvent(job);
    return false;
}

void DownLoadTaskManger::finishSuccess(const DOWNLOADTASK_CONTEXT& job) {
    DeleteTask(job);
    Trace("DownLoadTaskManger.downLoadTask.DownloadFile End Success fileId = ", job);
    const std::wstring sha256 = Common::FileHepler::GetFileSha256(job.localFilePath);
    Database().UpdateDriveData(RowUpdate(job.fileId, {SQLiteDB::MakePair(L"fileStatus", std::int64_t{kFileInStep}),
                                                      SQLiteDB::MakePair(L"localFileSha256", sha256)}));
    DOWNLOADCALLBACK_CONTEXT record(job);
    record.ok = true;
    record.event = DownloadEventFinished;
    (*downLoadTaskCallBack)(record);
}

void DownLoadTaskManger::finishFailure(const DOWNLOADTASK_CONTEXT& job) {
    Trace("DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = ", job);
    WriteFileStatus(job, kFileDownloadFailed);
    DeleteTask(job);
    raiseEndWithoutFile(job);
}

void DownLoadTaskManger::finishCancel(const DOWNLOADTASK_CONTEXT& job) {
    Trace("DownLoadTaskManger.downLoadTask.DownloadFile End Cancle fileId = ", job);
    DeleteTask(job);
    WriteFileStatus(job, kFileDownloadFailed);
    raiseEndWithoutFile(job);
}

void DownLoadTaskManger::finishStop(const DOWNLOADTASK_CONTEXT& job) {
    DeleteTask(job);
    WriteFileStatus(job, kFileDownloadFailed);
    raiseEndWithoutFile(job);
    DeleteTask(job);
    Trace("DownLoadTaskManger.downLoadTask.DownloadFile End Stop fileId = ", job);
}

// The worker keeps its slot and its handle; the reloaded row brings back the position that the failed pass wrote. The
// reload also replaces the transfer key: a row that holds 0 then frees no slot; deliberate.
bool DownLoadTaskManger::finishRetry(const DOWNLOADTASK_CONTEXT& job, Common::TaskItem& task) {
    Trace("DownLoadTaskManger.downLoadTask.DownloadFile End Fail For Retry fileId = ", job);
    const int priority = task.GetPriority();
    if (priority > kLastPriorityForRetry) {
        DeleteTask(job);
        WriteFileStatus(job, kFileDownloadFailed);
        raiseEndWithoutFile(job);
        return false;
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.DownloadFile Retry Update Priority=" +
                                std::to_string(priority) + " fileId = " + TypeConvert::WStringToString(job.fileId));
    task.SetPriority(priority + kPriorityStep);
    Database().UpdateTaskItem(
        RowUpdate(job.fileId, {SQLiteDB::MakePair(L"priority", std::int64_t{priority + kPriorityStep})}),
        kDirectionDownload);
    task = Database().GetTaskItem(job.fileId, kDirectionDownload);
    Platform::Sleep(kRetryPause);
    return true;
}

void DownLoadTaskManger::raiseEndWithoutFile(const DOWNLOADTASK_CONTEXT& job) {
    DOWNLOADCALLBACK_CONTEXT record(job);
    executeCallBack(record, DownloadEventData, false);
}

void DownLoadTaskManger::raiseClosingEvent(const DOWNLOADTASK_CONTEXT& job) {
    DOWNLOADCALLBACK_CONTEXT record(job);
    if (!executeCallBack(record, DownloadEventEnd, false)) return;
    DeleteTask(job);
    WriteFileStatus(job, kFileIdle);
}

}  // namespace Drive::TransferService
