#include <exception>
#include <utility>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "server_upload/answer.h"
#include "server_upload/file_stream.h"
#include "server_upload/multipart_body.h"
#include "server_upload/server_upload.h"
#include "service/shared/background_task.h"
#include "service/shared/codes.h"

namespace Drive::TransferService {

namespace {

using HttpInterface::InterfaceName;

void ReportMultipartError(const std::string& what) {
    SyncPanelLog::WriteErrorLog("ServerUpload", "multipartUpload", "multipartUpload err " + what);
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"ServerUpload::multipartUpload ",
                                                   L"multipartUpload error: " + TypeConvert::StringToWString(what));
}

InterfaceName ChooseOperation(const Common::FileItem& file, const std::string& fileId) {
    if (Common::FileHepler::IsLocalFile(file.GetFileId(), L"Local")) {
        SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload Create begin. fileid=" + fileId);
        return InterfaceName::MultipartCreate;
    }
    SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload Update begin. fileid=" + fileId);
    return InterfaceName::MultipartUpdate;
}

void SendWhole(ServerUpload& upload, const std::string& lineBreak, const ContentStream& stream,
               const Common::FileItem& file, const Common::UploadStartInfo& startInfo, WMap& answer) {
    const std::string fileId = TypeConvert::WStringToString(file.GetFileId());
    const std::string content = ReadToEnd(stream, file.GetFileClientPath());
    SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload Read file end. fileid=" + fileId);
    std::string metadata;
    upload.buildUploadMetadata(file, metadata);
    SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload GetMetadata end. fileid=" + fileId);

    const std::string boundary = Cloud::FileTransRequest::GetBoundary();
    const std::string body = BuildMultipartBody(lineBreak, boundary, metadata, content);
    const WMap headers{{L"Content-Type", L"multipart/related;boundary=" + TypeConvert::StringToWString(boundary)},
                       {L"Cache-Control", L"no-cache"}};
    const InterfaceName operation = ChooseOperation(file, fileId);
    Cloud::CloudDriveInterface::FileproxyUpload(startInfo.GetUploadUrl(), file.GetFileId(), operation, std::string(),
                                                body, headers, answer);
}

}  // namespace

bool ServerUpload::multipartUpload(Common::FileItem& file, Common::UploadStartInfo& startInfo, Common::TaskItem& task,
                                   WMap& result) {
    WMap answer = OpenContentStream(file.GetFileClientPath())
                      .then(
                          [this, file, startInfo, task](const pplx::task<ContentStream>& opened) {
                              WMap collected;
                              try {
                                  SendWhole(*this, lineBreak, opened.get(), file, startInfo, collected);
                              } catch (const pplx::task_canceled&) {
                                  throw;
                              } catch (const std::exception& error) {
                                  ReportMultipartError(error.what());
                              }
                              return collected;
                          },
                          BackgroundTaskOptions())
                      .get();
    result = std::move(answer);
    // The word Begin is deliberate: this second line marks the end of the call.
    SyncPanelLog::WriteTraceLog("FileproxyMultipartUpload Begin. fileid=" +
                                TypeConvert::WStringToString(file.GetFileId()));
    return IsAccepted(result);
}

}  // namespace Drive::TransferService
