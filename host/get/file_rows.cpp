#include "host/get/file_rows.h"

#include <limits>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"

namespace Drive::Host {

bool ReadRows(RowSnapshot& snapshot) {
    for (const Common::TaskItem& task : SQLiteDB::SyncRows::Tasks(std::numeric_limits<int>::max())) {
        if (task.GetDirection() == 1) {
            snapshot.downloads[task.GetFileId()] = ReadTaskFacts(task.GetFragmentInfo());
        }
    }
    return SQLiteDB::SyncRows::ForEachFile([&snapshot](const Common::FileItem& file) {
        snapshot.files[file.GetFileId()] = file;
        return true;
    });
}

Common::FileItem RowOf(const CloudEntry& entry, int fileStatus, const std::wstring& localSha256) {
    Common::FileItem row;
    row.SetFileId(entry.file.id);
    row.SetName(entry.file.fileName);
    row.SetLocalFileName(entry.file.fileName);
    row.SetLocalParentFolder(entry.parentFolder);
    row.SetParentFolder(entry.parentFolder);
    row.SetLocalParentId(entry.file.parentFolder);
    row.SetParentId(entry.file.parentFolder);
    row.SetSize(entry.file.size);
    row.SetHash(entry.file.sha256);
    row.SetLocalFileSha256(localSha256);
    row.SetMimeType(entry.file.mimeType);
    row.SetKind(entry.file.category);
    row.SetContentVersion(entry.file.contentVersion);
    row.SetThunbnailDownloadLink(entry.file.thumbnailLink);
    row.SetAttachmentSize(entry.file.attachmentSize);
    row.SetFileStatus(fileStatus);
    row.SetIsFolder(entry.file.isFolder);
    return row;
}

bool DropDownload(const std::wstring& fileId) { return SQLiteDB::SQLiteDB::GetInstance().DeleteTaskItem(fileId, 1); }

bool MarkFailed(const std::wstring& fileId) {
    SQLiteDB::UpdateDBInfo update;
    update.key = fileId;
    update.columns.insert(SQLiteDB::MakePair(L"fileStatus", 23));
    return DropDownload(fileId) && SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(update);
}

}  // namespace Drive::Host
