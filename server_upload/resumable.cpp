#include <memory>
#include <utility>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "server_upload/answer.h"
#include "server_upload/file_stream.h"
#include "server_upload/resume_job.h"
#include "server_upload/resume_requests.h"
#include "server_upload/server_upload.h"
#include "service/shared/background_task.h"

namespace Drive::TransferService {

namespace {

using HttpInterface::InterfaceName;

InterfaceName ChooseOperation(const Common::FileItem& file, const std::string& fileId) {
    if (Common::FileHepler::IsLocalFile(file.GetFileId(), L"Local")) {
        SyncPanelLog::WriteTraceLog("FileproxyResumeUpload Create begin. fileid=" + fileId);
        return InterfaceName::ResumeCreate;
    }
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload Update begin. fileid=" + fileId);
    return InterfaceName::ResumeUpdate;
}

}  // namespace

bool ServerUpload::resumeUpload(Common::FileItem& file, Common::UploadStartInfo& startInfo, Common::TaskItem& task,
                                WMap& result) {
    const std::string fileId = TypeConvert::WStringToString(file.GetFileId());
    std::string metadata;
    buildUploadMetadata(file, metadata);
    std::wstring resumeUrl = startInfo.GetResumeUrl();
    std::int32_t sliceLength = ResumedSliceLength(startInfo.GetPosition());
    if (resumeUrl.empty() && !openResumeUpload(file, fileId, startInfo, metadata, resumeUrl, sliceLength, result)) {
        return false;
    }
    result.clear();

    // Shared, because the task layer asks for a function that can be copied.
    const auto job = std::make_shared<ResumeJob>();
    job->startInfo = startInfo;
    job->task = task;
    job->file = file;
    job->resumeUrl = resumeUrl;
    job->sliceLength = sliceLength;
    job->fileId = fileId;
    WMap answer = OpenContentStream(file.GetFileClientPath())
                      .then(
                          [this, job](const pplx::task<ContentStream>& opened) {
                              job->sendGuarded(opened);
                              keepPosition(*job);
                              return std::move(job->answer);
                          },
                          BackgroundTaskOptions())
                      .get();
    result = std::move(answer);
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload End. fileid=" + fileId);
    return IsAccepted(result);
}

bool ServerUpload::openResumeUpload(const Common::FileItem& file, const std::string& fileId,
                                    Common::UploadStartInfo& startInfo, const std::string& metadata,
                                    std::wstring& resumeUrl, std::int32_t& sliceLength, WMap& result) {
    const InterfaceName operation = ChooseOperation(file, fileId);
    const WMap headers = ResumeOpeningHeaders(file);
    SyncPanelLog::WriteTraceLog("FileproxyResumeUpload GetResumeUploadUrl. fileid=" + fileId);
    const bool opened = Cloud::CloudDriveInterface::FileproxyUpload(
        startInfo.GetUploadUrl(), file.GetFileId(), operation, std::string(), metadata, headers, result);
    // The URL counts, not the bool: after a failure it is enough that one is there, after a success even an empty one
    // is tried.
    resumeUrl = AnswerValue(result, L"resumeUrl");
    if (!opened && resumeUrl.empty()) return false;
    sliceLength = ReadSliceSize(AnswerValue(result, L"sliceSize"));
    startInfo.SetSliceSize(sliceLength);
    return true;
}

}  // namespace Drive::TransferService
