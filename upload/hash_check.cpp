#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/row_update.h"
#include "upload/upload_attempt.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

bool UpLoadTaskManger::checkFileHash(UploadAttempt& attempt) {
    SyncPanelLog::WriteDebugLog("file uploadStart GetFileSha256 filename=:" +
                                TypeConvert::WStringToString(attempt.file.GetLocalFileName()));
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask: Check file hash Begin fileId=" + attempt.fileId);

    std::wstring sha256;
    std::wstring md5;
    // A file that cannot be read is no mismatch here: the attempt goes on without an MD5.
    if (Common::FileHepler::GetFileHash(attempt.file.GetFileClientPath(), sha256, md5)) {
        if (sha256 != attempt.file.GetHash() || md5.empty()) {
            // The next attempt starts the file afresh; the objects sent so far are abandoned.
            SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(
                RowUpdate(attempt.file.GetFileId(),
                          {SQLiteDB::MakePair(L"hash", sha256), SQLiteDB::MakePair(L"localFileSha256", sha256)}));
            clearCache(attempt.taskIdText(), attempt.file);
            SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "fileCreateComplete",
                                        "Check file hash error  fileId=" + attempt.fileId +
                                            ";sha256=" + TypeConvert::WStringToString(sha256) +
                                            ";md5=" + TypeConvert::WStringToString(md5));
            return attempt.end(TaskResultFailure);
        }
        attempt.file.SetFileMD5(md5);
    }
    SyncPanelLog::WriteTraceLog("UpLoadTaskManger.uploadTask: Check file hash End fileId=" + attempt.fileId);
    return true;
}

}  // namespace Drive::TransferService
