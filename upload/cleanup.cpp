#include <exception>

#include "interfaces/common/file_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

void UpLoadTaskManger::clearCache(const std::wstring& /*taskId*/, const Common::FileItem& file) {
    try {
        SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(
            RowUpdate(file.GetFileId(), {SQLiteDB::MakePair(L"fragmentInfo", std::wstring())}), kDirectionUpload);
        for (const auto& [name, path] : file.GetAttachmentFilePath()) Common::FileHepler::DeleteLocalFile(path);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "clearCache",
                                    std::string("upload fail then clear cache error. ") + error.what());
    }
}

}  // namespace Drive::TransferService
