#include <string>
#include <vector>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/flags.h"
#include "upload/upload_attempt.h"
#include "upload/upload_log.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::FileHepler;

constexpr std::int64_t kLargestFile = 53687091200;
constexpr std::int64_t kSmallestFile = 1;

void RunStatement(const std::string& statement) {
    SQLiteDB::SQLiteDB::GetInstance().ExecuteMulitNoQuerySQL(std::vector<std::string>{statement});
}

bool PassMigration(UploadAttempt& attempt) {
    if (!ReadFlag(g_cloudServerIsMigrating)) return true;
    WriteTaskError("CloudServerIsMigrating Stop upload Task fileid:" +
                   TypeConvert::WStringToString(attempt.task.GetFileId()));
    return attempt.end(TaskResultStop);
}

bool PassFileRow(UploadAttempt& attempt) {
    if (!attempt.file.GetFileId().empty()) return true;
    WriteTaskError("Terminate upload task: fileid is empty.Task ID:" +
                   TypeConvert::WStringToString(attempt.task.GetFileId()));
    return attempt.end(TaskResultFailure);
}

/// From here on the size is that of the file on disk now, not what the row says.
void LookAtFile(UploadAttempt& attempt) {
    attempt.fileId = TypeConvert::WStringToString(attempt.file.GetFileId());
    attempt.file.SetMimeType(
        TypeConvert::StringToWString(FileHepler::GetFileMimeType(attempt.file.GetLocalFileName())));
    attempt.file.SetSize(FileHepler::GetFileSizeApi(attempt.file.GetFileClientPath()));
}

/// A placeholder has nothing to upload. The statement decides the row and leaves one alone that has moved on.
bool PassPlaceholder(UploadAttempt& attempt) {
    if (!FileHepler::IsPlaceholder(attempt.file.GetFileClientPath())) return true;
    WriteTaskError("Terminate upload task:File is Placeholder. fileid=" + attempt.fileId);
    RunStatement("UPDATE T_cloudDriveData SET fileStatus = 0 WHERE fileId = '" + attempt.fileId +
                 "' AND fileStatus IN(1,11,12,13); ");
    return attempt.end(TaskResultOnlyDeleteTask);
}

bool PassExistence(UploadAttempt& attempt) {
    if (FileHepler::IsFileExists(attempt.file.GetFileClientPath())) return true;
    ReportTaskEnd("Terminate upload task:File is not exists. fileid=" + attempt.fileId);
    SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(attempt.file.GetFileId());
    return attempt.end(TaskResultDeleteForRetry);
}

/// The text says 80 whatever the limit is.
bool PassName(UploadAttempt& attempt) {
    const auto length = static_cast<std::int64_t>(attempt.file.GetLocalFileName().size());
    if (length <= g_FolderNameMaxLength) return true;
    ReportTaskEnd("Terminate upload task:fileName invalid with size not exceed 80. fileid=" + attempt.fileId);
    return attempt.end(TaskResultDeleteTask);
}

bool PassSize(UploadAttempt& attempt) {
    const std::int64_t size = attempt.file.GetSize();
    if (size >= kSmallestFile && size <= kLargestFile) return true;
    ReportTaskEnd("Terminate upload task:File size exceeds limit Or empty. fileid=" + attempt.fileId);
    return attempt.end(TaskResultDeleteTask);
}

bool PassNetwork(UploadAttempt& attempt) {
    if (!ReadFlag(g_isOffLine)) return true;
    ReportTaskEnd("Terminate upload task:Network connection is broken. fileid=" + attempt.fileId);
    return attempt.end(TaskResultFailure);
}

/// Without the keyed digest there is no file key. The statement queues the file again and leaves a row alone that has
/// moved on.
bool PassKeyText(UploadAttempt& attempt) {
    const std::string keyText = FileHepler::GetFileHmac(attempt.file.GetFileClientPath());
    if (keyText.empty()) {
        WriteTaskError("Terminate upload task: hmac is empty. fileid=" + attempt.fileId);
        WriteTaskStatistic("Terminate upload task:hmac is empty. fileid. fileid=" + attempt.fileId);
        RunStatement("UPDATE T_cloudDriveData SET fileStatus = 11 WHERE fileId = '" + attempt.fileId +
                     "' AND fileStatus IN(1,12,13); ");
        return attempt.end(TaskResultOnlyDeleteTask);
    }
    attempt.file.SetFileHMAC(keyText);
    return true;
}

}  // namespace

bool UpLoadTaskManger::passGate(UploadAttempt& attempt) {
    if (uploadStopFlag) return attempt.end(TaskResultStop);
    if (!PassMigration(attempt) || !PassFileRow(attempt)) return false;
    LookAtFile(attempt);
    return PassPlaceholder(attempt) && PassExistence(attempt) && PassName(attempt) && PassSize(attempt) &&
           passParentFolder(attempt) && PassNetwork(attempt) && PassKeyText(attempt) && passSpace(attempt);
}

bool UpLoadTaskManger::passParentFolder(UploadAttempt& attempt) {
    if (checkParentFolder(attempt.file)) return true;
    ReportTaskEnd("Terminate upload task:File Parent Id Is Local. fileid=" + attempt.fileId);
    return attempt.end(TaskResultFailure);
}

}  // namespace Drive::TransferService
