#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/common/thumbnail_helper.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/file_calls.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "upload/picture_paths.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

using Common::FileHepler;
using Common::ThumbnailHelper;
using Common::ThumbnailOptions;
using SQLiteDB::MakePair;

/// Always false, so that a step can return it.
bool PictureFailure(const std::string& text) {
    SyncPanelLog::WriteErrorLog("UpLoadTaskManger", "createThumbnailFile", text);
    return false;
}

bool MakeFolders(const PicturePaths& paths, const std::string& fileId) {
    if (!FileHepler::CreateLocalDirectory(paths.smallFolder)) {
        return PictureFailure("upload file create thumbnail directory fail. fileid=" + fileId);
    }
    if (!FileHepler::CreateLocalDirectory(paths.largeFolder)) {
        return PictureFailure("upload file create  LCD-image directory fail. fileid=" + fileId);
    }
    return true;
}

/// A picture that exists is reused without a look at its age: the cache survives between attempts.
bool DrawPictures(const Common::FileItem& file, const PicturePaths& paths, const std::string& fileId) {
    if (!FileHepler::IsFileExists(paths.small) &&
        !ThumbnailHelper::CreateThumbnail(file, ThumbnailOptions::Thumbnail, paths.small)) {
        return PictureFailure("upload file create thumbnail file fail. fileid=" + fileId);
    }
    if (!FileHepler::IsFileExists(paths.large) &&
        !ThumbnailHelper::CreateThumbnail(file, ThumbnailOptions::LcdImage, paths.large)) {
        return PictureFailure("upload file create LCD-image file fail. fileid=" + fileId);
    }
    return true;
}

/// A derived picture that is bigger than the file that it stands for is replaced by the file itself.
std::vector<char> ReadPicture(const Common::FileItem& file, const std::wstring& path) {
    std::vector<char> content;
    FileHepler::ReadLocalFile(path, content);
    if (static_cast<std::int32_t>(content.size()) > file.GetSize()) {
        Platform::CopyFileW(file.GetFileClientPath().c_str(), path.c_str(), 0);
        FileHepler::ReadLocalFile(path, content);
    }
    return content;
}

/// Pictures other than those that an earlier attempt planned with: its plan cannot be resumed.
void DropStalePlan(const Common::FileItem& file, Common::TaskItem& task, int smallSize, int largeSize) {
    const std::vector<int>& planned = file.GetAttachmentSize();
    if (planned.size() <= 1 || (planned[0] == smallSize && planned[1] == largeSize)) return;
    SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(
        RowUpdate(file.GetFileId(), {MakePair(L"fragmentInfo", std::wstring())}), kDirectionUpload);
    task.SetFragmentInfo(L"");
}

void Attach(Common::FileItem& file, const PicturePaths& paths, const std::vector<char>& small,
            const std::vector<char>& large) {
    const auto smallSize = static_cast<int>(small.size());
    const auto largeSize = static_cast<int>(large.size());
    file.SetAttachmentSize({smallSize, largeSize});
    file.SetAttachmentData({{L"small", std::vector<unsigned char>(small.begin(), small.end())},
                            {L"large", std::vector<unsigned char>(large.begin(), large.end())}});
    file.SetAttachmentFilePath({{L"small", paths.small}, {L"large", paths.large}});
    SQLiteDB::SQLiteDB::GetInstance().UpdateDriveData(
        RowUpdate(file.GetFileId(),
                  {MakePair(L"attachmentSize", std::to_wstring(smallSize) + L" " + std::to_wstring(largeSize))}));
}

std::wstring WithSeparator(std::wstring folder) {
    if (folder.empty() || folder.back() != L'\\') folder += L'\\';
    return folder;
}

}  // namespace

PicturePaths PicturePathsOf(const Common::FileItem& file, const std::wstring& smallRoot,
                            const std::wstring& largeRoot) {
    std::wstring parent = file.GetLocalParentFolder();
    if (!parent.empty()) parent = WithSeparator(parent);
    const std::wstring name = file.GetLocalFileName() + L".jpg";
    PicturePaths paths;
    paths.smallFolder = WithSeparator(smallRoot) + parent;
    paths.largeFolder = WithSeparator(largeRoot) + parent;
    paths.small = paths.smallFolder + name;
    paths.large = paths.largeFolder + name;
    return paths;
}

bool UpLoadTaskManger::createThumbnailFile(Common::FileItem& file, Common::TaskItem& task) {
    try {
        return makePictures(file, task);
    } catch (const std::exception& error) {
        return PictureFailure(std::string("fail: ") + error.what());
    }
}

bool UpLoadTaskManger::makePictures(Common::FileItem& file, Common::TaskItem& task) {
    const std::string fileId = TypeConvert::WStringToString(file.GetFileId());
    const PicturePaths paths = PicturePathsOf(file, g_thumbnailFolder, g_lcdthumbnailFolder);
    if (!MakeFolders(paths, fileId)) return false;
    uploadServiceCallback(2, file.GetFileClientPath());
    if (!DrawPictures(file, paths, fileId)) return false;

    const std::vector<char> small = ReadPicture(file, paths.small);
    const std::vector<char> large = ReadPicture(file, paths.large);
    DropStalePlan(file, task, static_cast<int>(small.size()), static_cast<int>(large.size()));
    if (small.empty() || large.empty()) {
        FileHepler::RemoveFile(paths.small);
        FileHepler::RemoveFile(paths.large);
        return PictureFailure("createThumbnailFile Fail: thumbnail file is empty");
    }
    Attach(file, paths, small, large);
    return true;
}

}  // namespace Drive::TransferService
