#include <exception>
#include <string>

#include "download/download_task_manager.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::TransferService {

namespace {

void LogFailure(const std::string& text) { SyncPanelLog::WriteErrorLog("DownLoadTaskManger", "downLoadTask", text); }

}  // namespace

TaskResult DownLoadTaskManger::downLoadTask(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task) {
    const std::string id = TypeConvert::WStringToString(job.fileId);
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.Begin. fileId = " + id +
                                ";taskId=" + std::to_string(task.GetTaskId()));
    if (ReadFlag(g_StopDownLoadTask)) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.Stop Download Task fileId = " + id);
        return TaskResultStop;
    }
    if (!checkTaskStatus(job.fileId, job)) {
        if (job.isStopped) return TaskResultStop;
        if (job.isCancelled) return TaskResultCancel;
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.InitTransferKey. fileId = " + id);
    if (job.isPlatformFetch && !beginPlatformFetch(job)) {
        LogFailure("Terminate download file task:Placeholder start download fail! fileid = " + id);
        return TaskResultFailure;
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.CheckDiskFreeSpace fileId = " + id);
    if (!hasCurrentDiskFreeSpace(g_clientSyncRootFolder)) {
        LogFailure("Terminate download file task:DiskFreeSpace is not enough! fileid = " + id);
        return TaskResultFailure;
    }
    try {
        return transfer(job, task);
    } catch (const std::exception&) {
        // The spelling of the module in this one message is deliberate.
        SyncPanelLog::WriteErrorLog("DownloadTaskManager", "downLoadTask",
                                    "Terminate download file task:Filetask is failer. catch error");
        return TaskResultFailure;
    }
}

bool DownLoadTaskManger::beginPlatformFetch(DOWNLOADTASK_CONTEXT& job) {
    DOWNLOADCALLBACK_CONTEXT record(job);
    record.ok = true;
    record.event = DownloadEventFetchBegins;
    if (!(*downLoadTaskCallBack)(record)) return false;
    job.fileHandle = record.fileHandle;
    job.transferKey = record.transferKey;
    return true;
}

TaskResult DownLoadTaskManger::transfer(DOWNLOADTASK_CONTEXT& job, const Common::TaskItem& task) {
    const std::string id = TypeConvert::WStringToString(job.fileId);
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.getDownloadAddressInfo. fileId = " + id);
    Common::DownLoadAddressInfoModel model;
    if (!Cloud::CloudDriveInterface::GetDownloadAddressInfo(job.fileId, model)) {
        LogFailure("Terminate download file task:getDownloadAddressInfo fail! fileid = " + id);
        return TaskResultFailure;
    }
    if (model.GetEncFekList().empty()) {
        SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.DownloadCloudFile fileId = " + id);
        return downloadCloudFile(job, model, task);
    }
    SyncPanelLog::WriteTraceLog("DownLoadTaskManger.downLoadTask.DownloadDriveFile fileId = " + id);
    return downloadDriveFile(job, model, task);
}

}  // namespace Drive::TransferService
