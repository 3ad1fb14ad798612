#include <mutex>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "service/shared/codes.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

constexpr std::int64_t kStopMilliseconds = 10000;

}  // namespace

void UpLoadTaskManger::StopUpLoadMangerService() {
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.StopUpLoadMangerService Begin ");
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"StopUpLoadMangerService",
                                                   L" StopUpLoadMangerService");
    uploadStopFlag = true;

    std::unique_lock lock(*uploadCountMutex);
    // One deadline for the whole wait: every worker that ends wakes it, and none of them may prolong it.
    const std::int64_t deadline = Platform::MonotonicMilliseconds() + kStopMilliseconds;
    while (uploadingTaskCount >= 1) {
        if (!uploadCountCondition->wait_until(lock, deadline)) break;
    }
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.StopUpLoadMangerService End ");
}

}  // namespace Drive::TransferService
