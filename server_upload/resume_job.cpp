#include "server_upload/resume_job.h"

#include <exception>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/clock.h"
#include "server_upload/answer.h"
#include "server_upload/resume_requests.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"

namespace Drive::TransferService {

namespace {

/// Pause between two slices, milliseconds.
constexpr Platform::DWORD kSlicePause = 10;

void WriteRecord(const std::wstring& fileId, const std::wstring& record) {
    SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(RowUpdate(fileId, {SQLiteDB::MakePair(L"fragmentInfo", record)}),
                                                     kDirectionUpload);
}

void ReportResumeError(const std::string& what) {
    SyncPanelLog::WriteErrorLog("ServerUpload", "resumeUpload", "resumeUpload err " + what);
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"ServerUpload::resumeUpload ",
                                                   L"resumeUpload error: " + TypeConvert::StringToWString(what));
}

}  // namespace

void ServerUpload::ResumeJob::sendGuarded(const pplx::task<ContentStream>& opened) {
    try {
        sendSlices(opened);
    } catch (const pplx::task_canceled&) {
        throw;
    } catch (const std::exception& error) {
        ReportResumeError(error.what());
    }
}

void ServerUpload::ResumeJob::sendSlices(const pplx::task<ContentStream>& opened) {
    position = startInfo.GetPosition();
    const auto size = static_cast<std::uint64_t>(file.GetSize());
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload ReadFileUpload Begian. fileid=" + fileId +
                                "; postion =" + std::to_string(position));
    const ContentStream stream = opened.get();
    while (position < size) {
        if (!sendSlice(stream, size)) {
            SyncPanelLog::WriteTraceLog("FileproxyResumeUpload Upload Fail. fileid=" + fileId +
                                        "; postion =" + std::to_string(position));
            break;
        }
    }
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload ReadFileUpload End. fileid=" + fileId);
}

bool ServerUpload::ResumeJob::sendSlice(const ContentStream& stream, std::uint64_t size) {
    const std::string slice =
        ReadSlice(stream, file.GetFileClientPath(), position, NextSliceLength(sliceLength, position, size));
    const WMap headers = SliceHeaders(file, position, slice.size());
    answer.clear();
    if (!Cloud::CloudDriveInterface::FileproxyUpload(resumeUrl, file.GetFileId(),
                                                     HttpInterface::InterfaceName::ResumeSlice, slice, std::string(),
                                                     headers, answer)) {
        return false;
    }
    position += slice.size();
    Platform::Sleep(kSlicePause);
    return true;
}

void ServerUpload::keepPosition(ResumeJob& job) {
    if (AnswerValue(job.answer, L"statuscode") == L"404") {
        // The resume URL is gone: the next attempt starts from an empty record.
        WriteRecord(job.file.GetFileId(), std::wstring());
        return;
    }
    // Also after the last slice, where the task's deletion makes it moot.
    SaveResumUploadPostion(job.startInfo, job.file.GetFileId(), job.position, job.resumeUrl);
}

bool ServerUpload::SaveResumUploadPostion(const Common::UploadStartInfo& startInfo, const std::wstring& fileId,
                                          std::uint64_t position, const std::wstring& resumeUrl) {
    const std::string id = TypeConvert::WStringToString(fileId);
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload SaveResumUploadPostion Begin. fileid=" + id);
    WriteRecord(fileId, WritePositionRecord(startInfo, position, resumeUrl));
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload SaveResumUploadPostion End. fileid=" + id);
    return true;
}

}  // namespace Drive::TransferService
