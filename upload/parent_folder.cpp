#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "service/shared/row_update.h"
#include "upload/parent_path.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::FileHepler;

bool WriteParent(const Common::FileItem& file, const std::wstring& parentId) {
    return SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(RowUpdate(
        file.GetFileId(), {SQLiteDB::MakePair(L"localParentId", parentId), SQLiteDB::MakePair(L"parentId", parentId)}));
}

}  // namespace

ParentPath SplitParentPath(std::wstring path) {
    path.pop_back();
    const std::size_t separator = path.find_last_of(L'\\');
    if (separator == std::wstring::npos) return {path, L""};
    return {path.substr(separator + 1), path.substr(0, separator + 1)};
}

bool UpLoadTaskManger::checkParentFolder(Common::FileItem& file) {
    if (!FileHepler::IsLocalDirectory(file.GetLocalParentId(), L"Local")) return true;

    const std::wstring& path = file.GetLocalParentFolder();
    // For a file in the sync root only the row is changed, deliberately: this attempt goes on with the local id in
    // memory, the later ones with the root's.
    if (path.empty()) return WriteParent(file, g_rootFileId);

    const ParentPath parent = SplitParentPath(path);
    const Common::FileItem folder = SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItem(
        {{L"localFileName", parent.name}, {L"localParentFolder", parent.folder}});
    const std::wstring& folderId = folder.GetFileId();
    if (FileHepler::IsLocalDirectory(folderId, L"Local")) return false;

    file.SetParentId(folderId);
    file.SetLocalParentId(folderId);
    return WriteParent(file, folderId);
}

}  // namespace Drive::TransferService
