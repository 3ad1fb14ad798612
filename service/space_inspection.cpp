#include <mutex>
#include <string>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"
#include "service/shared/user_space.h"
#include "service/transfer_task_service.h"

namespace Drive::TransferService {

namespace {

constexpr std::int64_t kOneDay = 86400;  // seconds

void OperateLog(const std::wstring& text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"TransferTaskService", text);
}

}  // namespace

bool TransferTaskService::shouldNotifySpaceFull(std::int64_t lastTime, std::int64_t& remaining) {
    const std::int64_t now = GetTimeStamp();
    const std::int64_t interval = g_SpaceNotifySpaceInterval;
    if (interval >= 1 && now - lastTime >= interval && classifyUserSpace(0, remaining) == UserSpaceFull) return true;
    remaining = 0;
    return false;
}

bool TransferTaskService::shouldNotifySpaceWillFull(std::int64_t lastTime, std::int64_t& remaining) {
    if (GetTimeStamp() - lastTime >= kOneDay && classifyUserSpace(0, remaining) == UserSpaceWillFull) return true;
    remaining = 0;
    return false;
}

// Called once a second. Regular checks only follow a first message that an upload has caused.
void TransferTaskService::regularInspectionSpace() {
    if (spaceFullInspectionOn) StartBackgroundTask([this] { inspectSpaceFull(); });
    if (lastNotifySpaceFull < 1) return;
    StartBackgroundTask([this] { inspectSpaceWillFull(); });
}

void TransferTaskService::inspectSpaceFull() {
    spaceFullInspectionOn = false;  // no second one at the same time; stays false when the check throws
    std::int64_t remaining = 0;
    if (shouldNotifySpaceFull(lastSpaceFullNotifyTime, remaining)) {
        StartBackgroundTask([this, remaining] {
            notifyUserSpaceMsg(2);
            SyncPanelLog::WriteTraceLog("TransferTaskService.Regular Inspection SpceFull Userspace = " +
                                        std::to_string(remaining));
            OperateLog(L" Regular Inspection SpceFull Userspace = " + std::to_wstring(remaining));
        });
    }
    spaceFullInspectionOn = true;
}

void TransferTaskService::inspectSpaceWillFull() {
    std::int64_t remaining = 0;
    if (!shouldNotifySpaceWillFull(lastNotifySpaceFull, remaining)) return;
    StartBackgroundTask([this, remaining] {
        notifyUserSpaceMsg(3);
        // The trace keeps the words of the full space, the statistic does not; deliberate.
        SyncPanelLog::WriteTraceLog("TransferTaskService.Regular Inspection SpceFull Userspace = " +
                                    std::to_string(remaining));
        OperateLog(L" Regular Inspection SpaceWillFull Userspace = " + std::to_wstring(remaining));
    });
}

// The one place that decides whether the host hears of the space. A message that comes while another is being sent is
// dropped. The traces bear the name of the upload engine; deliberate.
void TransferTaskService::notifyUserSpaceMsg(const int& message) {
    std::unique_lock lock(*spaceNotifyMutex, std::try_to_lock);
    if (!lock.owns_lock()) return;
    const std::int64_t now = GetTimeStamp();
    if (message == 2) {
        if (g_SpaceNotifySpaceTimes != 0 && spaceFullNotifyCount > g_SpaceNotifySpaceTimes) return;
        SyncPanelLog::WriteTraceLog("UpLoadTaskManger.notifySpaceInfo.Notify Space Is Full");
        (*fileTransNotifyMsgCallBack)(2, std::wstring(), false);
        lastSpaceFullNotifyTime = now;
        spaceFullNotifyCount = spaceFullNotifyCount + 1;
        spaceFullInspectionOn = true;
    } else if (message == 3 && now - lastNotifySpaceFull >= kOneDay) {
        SyncPanelLog::WriteTraceLog("UpLoadTaskManger.notifySpaceInfo.Notify Space Will Full");
        (*fileTransNotifyMsgCallBack)(3, std::wstring(), false);
        SQLiteDB::SQLiteDB::GetInstance().UpdateSyncConfItem(L"LastNotifySpaceFull", now);
        lastNotifySpaceFull = now;
    }
}

}  // namespace Drive::TransferService
