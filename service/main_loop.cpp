#include <pplx/pplxtasks.h>

#include <exception>
#include <string>

#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/clock.h"
#include "keys/sync_user_key_service.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"
#include "service/transfer_task_service.h"

namespace Drive::TransferService {

namespace {

constexpr Platform::DWORD kPassPause = 1000;
constexpr Platform::DWORD kKeyRetryPause = 3000;

void OperateLog(const std::wstring& text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"TransferTaskService", text);
}

}  // namespace

void TransferTaskService::backgroundMainServiceTask(const pplx::cancellation_token& token) {
    for (;;) {
        try {
            if (token.is_canceled()) {
                SyncPanelLog::WriteTraceLog("TransferTaskService.StopTransferTaskService 1");
                OperateLog(L" StopTransferTaskService");
                CancelCurrentTask();
                SyncPanelLog::WriteTraceLog("TransferTaskService.cancel bacekground mian service thread thread");
                return;
            }
            if (!userKeyIsThere()) {
                Platform::Sleep(kKeyRetryPause);
                continue;
            }
            runMainPass();
        } catch (const std::exception& error) {
            // The function named here is the one that started the loop; deliberate.
            SyncPanelLog::WriteErrorLog("TransferTaskService", "startTransferTaskService",
                                        std::string("bacekground mian service thread error:") + error.what());
            OperateLog(L" TransferTaskService error = " + TypeConvert::StringToWString(error.what()));
        }
        Platform::Sleep(kPassPause);
    }
}

bool TransferTaskService::userKeyIsThere() {
    if (g_SyncUserKey[0] != 0) return true;
    SyncPanelLog::WriteTraceLog("TransferTaskService. g_SyncUserKey is empty ");
    SyncUserKeyService().InitSyncUserKey();
    return g_SyncUserKey[0] != 0;
}

void TransferTaskService::runMainPass() {
    pushLatestThumbnailTask();
    pushLatestDownloadTask();
    pushLatestUploadTask();
    regularInspectionSpace();
    if (!notifyCallbackSet) return;
    StartBackgroundTask([this] {
        const bool active = SQLiteDB::SQLiteDB::GetInstance().hasTransferTasks();
        (*fileTransNotifyMsgCallBack)(1, std::wstring(), active);
    });
}

}  // namespace Drive::TransferService
