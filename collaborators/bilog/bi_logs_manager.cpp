#include "interfaces/logging/bi_logs_manager.h"

#include <exception>

#include "collaborators/bilog/statistics_log.h"

namespace Drive::Bilog {

BiLogsManager::BiLogsManager() = default;
BiLogsManager::~BiLogsManager() = default;

BiLogsManager& BiLogsManager::GetInstance() {
    static BiLogsManager instance;
    return instance;
}

/// Touches no member: a worker may still call it after the object was destroyed at process end.
void BiLogsManager::OperateLog(int code, const std::wstring& module, const std::wstring& text) {
    try {
        Logging::WriteStatistic({code, module, text});
    } catch (const std::exception&) {
        return;
    }
}

BiLogHelper::BiLogHelper() = default;
BiLogHelper::~BiLogHelper() = default;

BiLogHelper& BiLogHelper::GetInstance() {
    static BiLogHelper instance;
    return instance;
}

}  // namespace Drive::Bilog

namespace Drive::OperateLog {

OperationLogManager::OperationLogManager() = default;
OperationLogManager::~OperationLogManager() = default;

OperationLogManager& OperationLogManager::GetInstance() {
    static OperationLogManager instance;
    return instance;
}

OperationLogService::OperationLogService() = default;
OperationLogService::~OperationLogService() = default;

OperationLogService& OperationLogService::GetInstance() {
    static OperationLogService instance;
    return instance;
}

}  // namespace Drive::OperateLog
