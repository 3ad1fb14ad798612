#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "collaborators/common/log_text.h"
#include "collaborators/common/place.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Common {

namespace {

/// True when there is no file at the path any more.
bool Unlink(const std::wstring& path) {
    const auto place = Place::FindFile(path, false);
    if (!place) {
        return errno == ENOENT;
    }
    const std::size_t count = place->Parts().names.size();
    const UniqueFd folder = place->Open(count - 1, O_PATH | O_DIRECTORY);
    return (folder && unlinkat(folder.Get(), place->Parts().names.back().c_str(), 0) == 0) || errno == ENOENT ||
           errno == ENOTDIR;
}

void UnlinkAndLog(const std::wstring& path, const char* operation) {
    if (path.empty() || Unlink(path)) {
        return;
    }
    const int error = errno;
    SyncPanelLog::WriteErrorLog(
        "FileHepler", operation,
        "could not remove " + LogText::Name(path) + ": " + LogText::Reason(error) +
            (error == EXDEV || error == ELOOP ? ". The path leads out of the sync folder and was refused."
                                              : ". Remove it by hand if it is not needed."));
}

}  // namespace

bool FileHepler::CreateLocalDirectory(const std::wstring& path) {
    if (path.empty()) {
        return false;
    }
    const auto place = Place::Find(path, true);
    if (place && place->MakeFolders(place->Parts().names.size())) {
        return true;
    }
    const int error = errno;
    SyncPanelLog::WriteErrorLog(
        "FileHepler", "CreateLocalDirectory",
        "could not make the folder " + LogText::Name(path) + ": " + LogText::Reason(error) +
            (error == EXDEV || error == ELOOP ? ". The path leads out of the sync folder and was refused."
                                              : ". Check that the folder above it is there and may be written."));
    return false;
}

void FileHepler::RemoveFile(const std::wstring& path) { UnlinkAndLog(path, "RemoveFile"); }

void FileHepler::DeleteLocalFile(const std::wstring& path) { UnlinkAndLog(path, "DeleteLocalFile"); }

}  // namespace Drive::Common
