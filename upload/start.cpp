#include <cstdint>
#include <exception>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/client_messages.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "service/shared/flags.h"
#include "service/shared/row_update.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::FileHepler;
using SQLiteDB::MakePair;

constexpr const wchar_t* kCloudMigratingErrorCode = L"21084031";

/// Command of the client process: the cloud server is being migrated.
constexpr int kMigrationCommand = 10;

/// One test refuses zero, the negative failure values and the largest signed value.
bool IsUploadableSize(std::int64_t size) { return static_cast<std::uint64_t>(size) - 1 <= 0x7FFFFFFFFFFFFFFD; }

/// A hash that the row holds is trusted: the file is not read again.
std::wstring HashOf(const Common::FileItem& file) {
    if (!file.GetLocalFileSha256().empty()) return file.GetLocalFileSha256();
    return FileHepler::GetFileSha256(file.GetFileClientPath());
}

bool HasParent(const Common::FileItem& file) {
    if (!file.GetLocalParentId().empty()) return true;
    SyncPanelLog::WriteErrorLog(
        "UpLoadTaskManger", "uploadStart",
        "file uploadStart fail: parentfolderid is empty. fileid=" + TypeConvert::WStringToString(file.GetFileId()));
    return false;
}

/// Makes item and row carry the file's hash and size.
bool SettleHashAndSize(Common::FileItem& file, std::wstring& hash) {
    hash = HashOf(file);
    file.SetHash(hash);
    const std::int64_t size = FileHepler::GetLocalFileSize(file.GetFileClientPath());
    if (!IsUploadableSize(size)) {
        SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadStart GetFileSize fail");
        return false;
    }
    file.SetSize(size);
    SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(RowUpdate(
        file.GetFileId(), {MakePair(L"size", size), MakePair(L"hash", hash), MakePair(L"localFileSha256", hash)}));
    return true;
}

}  // namespace

bool UpLoadTaskManger::uploadStart(Common::FileItem& file, const Common::TaskItem& task,
                                   Common::UploadStartInfo& startInfo) {
    try {
        std::wstring hash;
        if (!HasParent(file) || !SettleHashAndSize(file, hash)) return false;

        // An empty or damaged record simply leaves the local plan in its default state.
        Common::UploadStartInfo localStartInfo;
        initUploadStartinfo(TypeConvert::WStringToString(task.GetFragmentInfo()), localStartInfo);

        std::wstring errorCode;
        const std::string answerText =
            Cloud::CloudDriveInterface::ObjectsUploadStart(file, hash, localStartInfo.GetRecordCursor(), errorCode);
        // No way out here, deliberately: on a migration it is the answer's parsing that ends the attempt.
        noticeMigration(errorCode);
        return settlePlan(answerText, localStartInfo, task, startInfo);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "uploadStart", std::string("Error:") + error.what());
        clearCache(std::to_wstring(task.GetTaskId()), file);
        return false;
    }
}

void UpLoadTaskManger::noticeMigration(const std::wstring& errorCode) {
    if (errorCode != kCloudMigratingErrorCode || ReadFlag(g_cloudServerIsMigrating)) return;
    // Not atomic with the test: two workers may both come here, which is harmless.
    WriteFlag(g_cloudServerIsMigrating, true);
    SQLiteDB::SQLiteDB::GetInstance().ClearTaskTable();
    IPC::IPCDriveClient::TransferMessageCommand(kMigrationCommand, L"");
    SyncPanelLog::WriteTraceLog("[UpLoadTaskManger::uploadStart] The cloud server is being migrated.");
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"UpLoadTaskManger::uploadStart",
                                                   L"The cloud server is being migrated.");
}

bool UpLoadTaskManger::settlePlan(const std::string& answerText, const Common::UploadStartInfo& localStartInfo,
                                  const Common::TaskItem& task, Common::UploadStartInfo& startInfo) {
    if (!initUploadStartinfo(answerText, startInfo)) return false;
    const std::int64_t localVersion = localStartInfo.GetVersion();
    if (localVersion != 0 && localVersion == startInfo.GetVersion()) {
        startInfo = localStartInfo;
        return true;
    }
    SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(
        RowUpdate(task.GetFileId(), {MakePair(L"fragmentInfo", TypeConvert::StringToWString(answerText))}),
        kDirectionUpload);
    return true;
}

}  // namespace Drive::TransferService
