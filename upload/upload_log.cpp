#include "upload/upload_log.h"

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

void WriteTaskError(const std::string& text) { SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "uploadTask", text); }

void WriteTaskStatistic(const std::string& text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"UpLoadTaskManger::uploadTask ",
                                                   TypeConvert::StringToWString(text));
}

void ReportTaskEnd(const std::string& text) {
    WriteTaskError(text);
    WriteTaskStatistic(text);
}

}  // namespace Drive::TransferService
