// Logging and statistics that write into the journal.
#include "tests/support/log_double.h"

#include <mutex>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/logger_utility.h"
#include "interfaces/logging/sync_panel_log.h"
#include "tests/support/journal.h"

namespace Drive {

using Testing::Journal;
using Testing::Kind;

namespace {

std::mutex pathMutex;
std::wstring localAppData;

}  // namespace

namespace Testing {

void SetLocalAppDataPath(const std::wstring& path) {
    std::lock_guard<std::mutex> lock(pathMutex);
    localAppData = path;
}

}  // namespace Testing

std::wstring LoggerUtility::GetLocalAppDataPath() {
    std::lock_guard<std::mutex> lock(pathMutex);
    return localAppData;
}

void SyncPanelLog::WriteTraceLog(const std::string& text) { Journal::Write(Kind::Trace, text); }

void SyncPanelLog::WriteDebugLog(const std::string& text) { Journal::Write(Kind::Debug, text); }

void SyncPanelLog::WriteErrorLog(const std::string& module, const std::string& function, const std::string& text) {
    Journal::Write(Kind::Error, module + "|" + function + "|" + text);
}

void SyncPanelLog::WriteBeginTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                      const std::string& text) {
    Journal::Write(Kind::Begin,
                   std::to_string(kind) + " " + std::to_string(code) + "|" + module + "|" + function + "|" + text);
}

void SyncPanelLog::WriteEndTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                    const std::string& text) {
    Journal::Write(Kind::End,
                   std::to_string(kind) + " " + std::to_string(code) + "|" + module + "|" + function + "|" + text);
}

namespace Bilog {

BiLogsManager::BiLogsManager() = default;
BiLogsManager::~BiLogsManager() = default;

BiLogsManager& BiLogsManager::GetInstance() {
    static BiLogsManager instance;
    return instance;
}

void BiLogsManager::OperateLog(int code, const std::wstring& module, const std::wstring& text) {
    Journal::Write(Kind::Statistic, std::to_string(code) + "|" + Testing::Narrow(module) + "|" + Testing::Narrow(text));
}

BiLogHelper::BiLogHelper() = default;
BiLogHelper::~BiLogHelper() = default;
BiLogHelper& BiLogHelper::GetInstance() {
    static BiLogHelper instance;
    return instance;
}

}  // namespace Bilog

namespace OperateLog {

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

}  // namespace OperateLog

}  // namespace Drive
