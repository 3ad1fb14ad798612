#include "service/shared/row_update.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using SQLiteDB::MakePair;

/// An absent value never blanks a column.
void TakeIfPresent(WMap& columns, WMap& answer, const wchar_t* key, const wchar_t* column) {
    const std::wstring& value = answer[key];
    if (!value.empty()) columns.insert(MakePair(column, value));
}

}  // namespace

void UpLoadTaskManger::updateFileData(WMap& answer, const Common::FileItem& file) {
    WMap columns;
    // Unconditional, deliberately: the row is found by the old id and carries the cloud's from here on.
    columns.insert(MakePair(L"fileId", answer[L"id"]));
    TakeIfPresent(columns, answer, L"fileName", L"name");
    TakeIfPresent(columns, answer, L"category", L"kind");
    TakeIfPresent(columns, answer, L"mimeType", L"mimeType");
    // The cloud's "parentFolder" is the parent's id, the row's is the parent's path.
    TakeIfPresent(columns, answer, L"parentFolder", L"parentId");
    TakeIfPresent(columns, answer, L"contentVersion", L"contentVersion");
    columns.insert(MakePair(L"parentFolder", file.GetLocalParentFolder()));
    columns.insert(MakePair(L"fileStatus", kFileInStep));
    columns.insert(MakePair(L"status", kStatusInStep));
    SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(RowUpdate(file.GetFileId(), columns));

    const std::wstring text = L"fileCreateUpdateComplete success. [LocalFileId:" + file.GetFileId() +
                              L"][CloudFileId:" + answer[L"id"] + L"][parentId:" + file.GetLocalParentId() + L"]";
    SyncPanelLog::WriteTraceLog(TypeConvert::WStringToString(text));
    Bilog::BiLogsManager::GetInstance().OperateLog(kStatisticService, L"UpLoadTaskManger::fileCreateUpdateComplete ",
                                                   text);
}

}  // namespace Drive::TransferService
