#include <pplx/pplxtasks.h>

#include <cwchar>
#include <exception>
#include <list>
#include <string>
#include <vector>

#include "download/download_task_manager.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/feeding_state.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"
#include "service/transfer_task_service.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

template <typename Queue, typename Item>
void Drain(Queue& queue, Item item) {
    while (!queue.empty() && queue.pop_if_present(item)) {
    }
}

void OperateLog(const std::wstring& text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"TransferTaskService", text);
}

}  // namespace

TransferTaskService& TransferTaskService::getInstance() {
    static TransferTaskService instance;
    return instance;
}

TransferTaskService::TransferTaskService()
    : serviceCancellation(std::make_unique<pplx::cancellation_token_source>()),
      spareCancellation(std::make_unique<pplx::cancellation_token_source>()) {}

TransferTaskService::~TransferTaskService() = default;

void TransferTaskService::setFileTransNotifyMsgCallBack(NotifyCallback callback) {
    *fileTransNotifyMsgCallBack = std::move(callback);
    notifyCallbackSet = true;
}

void TransferTaskService::startTransferTaskService() {
    SyncPanelLog::WriteTraceLog("TransferTaskService.StartTransferTaskService Begin");
    OperateLog(L" StartTransferTaskService");
    initializeTransferService();
    serviceCancellation = std::make_unique<pplx::cancellation_token_source>();
    const pplx::cancellation_token token = serviceCancellation->get_token();
    StartBackgroundTask([this, token] { backgroundMainServiceTask(token); });
    try {
        thumbnailTaskService(token);
        downloadTaskService(token);
        uploadTaskService(token);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("TransferTaskService", "startTransferTaskService",
                                    std::string("startTransferTaskService error:") + error.what());
        OperateLog(L" TransferTaskService error = " + TypeConvert::StringToWString(error.what()));
    }
    SyncPanelLog::WriteTraceLog("TransferTaskService.startTransferTaskService End");
}

void TransferTaskService::initializeTransferService() {
    downloadFeedIdle = true;
    uploadFeedIdle = true;
    drainQueues();

    std::list<WMap> rows;
    SQLiteDB::SQLiteDB::GetInstance().ExcuteQuerySQL(
        rows, L"SELECT IFNULL(LastNotifySpaceFull,0) as LastNotifySpaceFull FROM T_SyncConf");
    if (!rows.empty()) {
        lastNotifySpaceFull = std::wcstoll(rows.front()[L"LastNotifySpaceFull"].c_str(), nullptr, 10);
    }
    UpLoadTaskManger::getInstance().SetFirstNotifySpaceWillFull(lastNotifySpaceFull < 1);
    repairRows();
}

void TransferTaskService::drainQueues() {
    Drain(*thumbnailQueue, WMap());
    Drain(*downloadQueue, Common::TaskItem());
    Drain(*uploadQueue, Common::TaskItem());
    Drain(*priorityQueue, Common::TaskItem());
}

// Every file that was running and has a task goes back to waiting, and so does every running task. A file without a
// task stays as it is; that difference is intended.
void TransferTaskService::repairRows() {
    SQLiteDB::SQLiteDB::GetInstance().ExecuteMulitNoQuerySQL(
        {"UPDATE T_cloudDriveData SET fileStatus = CASE WHEN  fileStatus = 22 THEN 21 WHEN  fileStatus = 12 THEN 11 "
         "ELSE fileStatus END WHERE fileStatus IN (12,22) AND isFolder = 0 AND fileId IN (SELECT fileId FROM T_task "
         "WHERE direction IN (1,2) AND T_task.fileId = T_cloudDriveData.fileId);",
         "UPDATE T_task SET TaskStatus = 0 WHERE TaskStatus = 1;"});
}

void TransferTaskService::stopTransferTaskService() {
    serviceCancellation->cancel();
    spareCancellation->cancel();
    DownLoadTaskManger::getInstance().StopDownLoadMangerService();
    UpLoadTaskManger::getInstance().StopUpLoadMangerService();
}

}  // namespace Drive::TransferService
