#include <string>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/drive_functions.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"
#include "upload/upload_attempt.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

void ReportRefreshFailure() {
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", " upload complete refresh space", "GetAndTransferDiskStatus error");
}

void RefreshSpace() {
    try {
        std::wstring text;
        const std::int64_t space = Cloud::CloudDriveInterface::GetUserSpace(text);
        if (space >= 1 && space < g_SpaceIsFullSize) GetAndTransferDiskStatus(2);
    } catch (...) {
        ReportRefreshFailure();
    }
}

}  // namespace

TaskResult UpLoadTaskManger::finishUpload(UploadAttempt& attempt) {
    if (!fileCreateComplete(attempt.file, attempt.objectInfoList, attempt.startInfo.GetRecordCursor(),
                            attempt.responseMap)) {
        return decideFailedCompletion(attempt);
    }
    updateFileData(attempt.responseMap, attempt.file);
    refreshSpaceInBackground();
    return TaskResultSuccess;
}

TaskResult UpLoadTaskManger::decideFailedCompletion(UploadAttempt& attempt) {
    const std::wstring description = attempt.responseMap[L"description"];
    const std::wstring errorCode = attempt.responseMap[L"errorCode"];
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask:fileCreateUpdateComplete fail. fileid=" + attempt.fileId +
                                "; errorMsg:" + TypeConvert::WStringToString(description));
    Bilog::BiLogsManager::GetInstance().OperateLog(
        kStatisticService, L"UpLoadTaskManger::fileCreateUpdateComplete ",
        L"fileCreateUpdateComplete fail. fileid=" + attempt.file.GetFileId() + L",errorMsg:" + description);

    if (errorCode == L"21004932") return TaskResultDeleteForRetry;
    if (errorCode == L"21000401") return TaskResultFailure;
    if (errorCode == L"21015002") {
        // The cloud has the file after all: the row takes what it holds.
        attempt.responseMap.clear();
        if (!Cloud::CloudDriveInterface::inQuireCloudFile(attempt.file, attempt.responseMap)) return TaskResultFailure;
        updateFileData(attempt.responseMap, attempt.file);
        return TaskResultSuccess;
    }
    return errorCode.empty() ? TaskResultFailure : TaskResultDeleteTask;
}

void UpLoadTaskManger::refreshSpaceInBackground() {
    // The upload has succeeded; nothing that goes wrong here may change that.
    try {
        StartBackgroundTask(RefreshSpace);
    } catch (...) {
        ReportRefreshFailure();
    }
}

}  // namespace Drive::TransferService
