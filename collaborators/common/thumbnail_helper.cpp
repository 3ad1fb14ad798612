#include "interfaces/common/thumbnail_helper.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "collaborators/common/file_replace.h"
#include "collaborators/common/generic_picture.h"
#include "collaborators/common/log_text.h"
#include "collaborators/common/native_parts.h"
#include "collaborators/common/thumbnail_process.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Common {

namespace {

constexpr int kThumbnailSide = 360;
constexpr int kLcdImageSide = 1080;

void LogFailure(const std::wstring& path, const std::string& reason) {
    SyncPanelLog::WriteErrorLog("ThumbnailHelper", "CreateThumbnail",
                                "could not make the picture of " + LogText::Name(path) + ": " + reason);
}

UniqueFd OpenRegular(const std::wstring& path) {
    const auto native = NativePathOf(path);
    errno = EINVAL;
    UniqueFd file(native ? open(native->c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK) : -1);
    struct stat status {};
    if (file && (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = EINVAL;
        return UniqueFd();
    }
    return file;
}

bool IsVideo(const FileItem& file) {
    if (!file.GetMimeType().empty()) {
        return FileHepler::IsVideoFile(file.GetMimeType());
    }
    const std::string type = FileHepler::GetFileMimeType(file.GetFileClientPath());
    return FileHepler::IsVideoFile(std::wstring(type.begin(), type.end()));
}

/// The picture, or the generic one. False when the file could not be read.
bool MakePicture(const FileItem& file, int side, std::vector<char>& jpeg) {
    const std::wstring& path = file.GetFileClientPath();
    const UniqueFd input = OpenRegular(path);
    if (!input) {
        LogFailure(path, LogText::Reason(errno) + ". Check that the file is there and may be read.");
        return false;
    }
    Decoded decoded = DecodeInHelper(input, IsVideo(file), side);
    if (decoded.outcome == DecodeOutcome::CannotRead) {
        LogFailure(path, decoded.reason + ". It is tried again.");
        return false;
    }
    if (decoded.outcome == DecodeOutcome::CannotDecode) {
        LogFailure(path, decoded.reason + ". A generic picture stands for it; the file itself is sent as it is.");
        decoded.jpeg = GenericPicture();
    }
    jpeg = std::move(decoded.jpeg);
    return true;
}

}  // namespace

bool ThumbnailHelper::CreateThumbnail(const FileItem& file, const ThumbnailOptions& option,
                                      const std::wstring& target) {
    std::vector<char> jpeg;
    const bool isMade = MakePicture(file, option == ThumbnailOptions::LcdImage ? kLcdImageSide : kThumbnailSide, jpeg);
    if (isMade && ReplaceFile(target, jpeg)) {
        return true;
    }
    if (isMade) {
        LogFailure(file.GetFileClientPath(), LogText::Reason(errno) + " at " + LogText::Name(target) +
                                                 ". Check that the cache folder may be written.");
    }
    FileHepler::DeleteLocalFile(target);
    return false;
}

}  // namespace Drive::Common
