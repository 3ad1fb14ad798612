#include <exception>

#include "interfaces/common/file_helper.h"
#include "upload/upload_attempt.h"
#include "upload/upload_log.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

bool IsMedia(const Common::FileItem& file) {
    return Common::FileHepler::IsImageFile(file.GetMimeType()) || Common::FileHepler::IsVideoFile(file.GetMimeType());
}

}  // namespace

TaskResult UpLoadTaskManger::uploadTask(Common::TaskItem& task, Common::FileItem& file) {
    try {
        UploadAttempt attempt(task, file);
        return runAttempt(attempt);
    } catch (const std::exception& error) {
        // An open file handle is deliberately not closed on this road.
        WriteTaskError(std::string("uploadTask Error:") + error.what());
        return TaskResultFailure;
    }
}

TaskResult UpLoadTaskManger::runAttempt(UploadAttempt& attempt) {
    if (!passGate(attempt)) return attempt.result;

    if (IsMedia(attempt.file) && !createThumbnailFile(attempt.file, attempt.task)) {
        ReportTaskEnd("Terminate upload task:Failed to create thumbnail. fileid=" + attempt.fileId);
        clearCache(attempt.taskIdText(), attempt.file);
        return TaskResultFailure;
    }
    if (!uploadStart(attempt.file, attempt.task, attempt.startInfo)) {
        ReportTaskEnd("Terminate upload task:getuploadstartInfo failure. fileid=" + attempt.fileId);
        return TaskResultFailure;
    }

    const std::wstring& uploadType = attempt.startInfo.GetUploadType();
    if (uploadType == clientUploadType) {
        if (!uploadByClient(attempt)) return attempt.result;
    } else if (uploadType == existUploadType) {
        uploadByExisting(attempt);
    } else if (uploadType == serverUploadType) {
        return uploadByServer(attempt);
    }
    // A type that is none of the three is deliberately no error: the finishing call goes out with an empty list.

    if (!checkFileHash(attempt)) return attempt.result;
    return finishUpload(attempt);
}

}  // namespace Drive::TransferService
