#include "interfaces/database/sqlite_db.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "service/shared/user_space.h"
#include "upload/upload_attempt.h"
#include "upload/upload_log.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

/// The file had been held back, and the space now allows it.
void LetThroughAgain(UploadAttempt& attempt) {
    if (attempt.file.GetStatus() != kStatusHeldBack) return;
    SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(
        RowUpdate(attempt.file.GetFileId(), {SQLiteDB::MakePair(L"status", kStatusPending)}));
    ReportTaskEnd("user space restore. fileid=" + attempt.fileId);
}

}  // namespace

bool UpLoadTaskManger::passSpace(UploadAttempt& attempt) {
    std::int64_t remaining = 0;
    const UserSpaceLevel level = classifyUserSpace(attempt.file.GetSize(), remaining);
    const std::string space = ";UserSpace=" + std::to_string(remaining);
    switch (level) {
        case UserSpaceError:
            WriteTaskError("Terminate upload task:Get userspace error. fileid=" + attempt.fileId + space);
            WriteTaskStatistic("Terminate upload task:Get userspace error. fileid=" + attempt.fileId);
            return attempt.end(TaskResultFailure);
        case UserSpaceFull:
            // The task stays and is tried again, less urgently: a full space never loses a file.
            ReportTaskEnd("Terminate upload task:User Space Is Full. fileid=" + attempt.fileId + space);
            if (firstNotifySpaceFull) {
                uploadTaskCallback(1, 2);
                firstNotifySpaceFull = false;
            }
            return attempt.end(TaskResultFailure);
        case UserSpaceWillFull:
            if (firstNotifySpaceWillFull) {
                ReportTaskEnd("NotifySpaceWillFull. fileid=" + attempt.fileId + space);
                uploadTaskCallback(1, 3);
                firstNotifySpaceWillFull = false;
            }
            break;
        case UserSpaceEnough:
            break;
    }
    LetThroughAgain(attempt);
    return true;
}

}  // namespace Drive::TransferService
