#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "server_upload/server_upload.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

namespace {

/// Files of this size and above go slice by slice; nothing in the cloud's answer changes it.
constexpr std::int64_t kResumableFrom = 10485760;

void WriteStatistic(const std::wstring& text) {
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"ServerUpload::uploadFileWithServerType ", text);
}

}  // namespace

ServerUpload::ServerUpload() : lineBreak("\r\n ") {}

ServerUpload& ServerUpload::getInstance() {
    static ServerUpload instance;
    return instance;
}

bool ServerUpload::uploadFileWithServerType(Common::FileItem& file, Common::UploadStartInfo& startInfo,
                                            Common::TaskItem& task, WMap& result) {
    const std::string fileId = TypeConvert::WStringToString(file.GetFileId());
    if (file.GetSize() < kResumableFrom) {
        SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload Begin. fileid=" + fileId);
        WriteStatistic(L"FileproxyMultipartUpload Begin. fileid=" + file.GetFileId());
        return multipartUpload(file, startInfo, task, result);
    }
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload Begin. fileid=" + fileId);
    WriteStatistic(L"FileproxyResumeUpload Begin. fileid=" + file.GetFileId());
    return resumeUpload(file, startInfo, task, result);
}

}  // namespace Drive::TransferService
