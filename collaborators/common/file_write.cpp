#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <stdexcept>

#include "collaborators/common/log_text.h"
#include "collaborators/common/place.h"
#include "collaborators/common/uninterrupted.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/file_calls.h"

namespace Drive::Common {

namespace {

constexpr mode_t kFileMode = 0666;
constexpr int kDiskFullWaits = 10;
constexpr Platform::DWORD kDiskFullWaitMilliseconds = 300;

bool IsDiskFull(int error) { return error == ENOSPC || error == EDQUOT; }

bool IsSaneBlock(std::int64_t position, const char* data, std::size_t length) {
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max());
    return position >= 0 && (data != nullptr || length == 0) && length <= kMost - static_cast<std::size_t>(position);
}

/// Opens the file of a place for writing, and makes it when it is absent.
UniqueFd OpenForWriting(const Place& place) {
    const std::size_t count = place.Parts().names.size();
    constexpr int kMostRaces = 16;
    for (int race = 0; race < kMostRaces; ++race) {
        UniqueFd file = place.Open(count, O_WRONLY | O_NONBLOCK | O_NOCTTY);
        if (file || errno != ENOENT) {
            return file;
        }
        file = place.Open(count, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CREAT | O_EXCL, kFileMode);
        if (file || errno != EEXIST) {
            return file;
        }
    }
    return UniqueFd();
}

/// Bytes of the file, or -1 for what is no file.
std::int64_t SizeOfRegularFile(int file) {
    struct stat status {};
    if (Uninterrupted([&] { return fstat(file, &status); }) != 0) {
        return -1;
    }
    errno = EINVAL;
    return S_ISREG(status.st_mode) ? status.st_size : -1;
}

bool WriteAll(int file, std::int64_t position, const char* data, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
        const ssize_t written = pwrite(file, data + done, length - done, position + static_cast<std::int64_t>(done));
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0) {
            errno = ENOSPC;
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool SyncParent(const Place& place) {
    const UniqueFd folder = place.Open(place.Parts().names.size() - 1, O_RDONLY | O_DIRECTORY);
    return folder && SyncFolder(folder.Get());
}

/// One attempt, from finding the place to the disk; `errno` tells why not. The name of the file is on the disk before
/// its first byte is written: a file that holds bytes has its name there, whatever became of the attempt that made it.
bool WriteOnce(std::int64_t position, const char* data, std::size_t length, const std::wstring& path) {
    const auto place = Place::FindFile(path, true);
    if (!place) {
        return false;
    }
    UniqueFd file = OpenForWriting(*place);
    if (!file && errno == ENOENT && place->MakeFolders(place->Parts().names.size() - 1)) {
        file = OpenForWriting(*place);
    }
    const std::int64_t size = file ? SizeOfRegularFile(file.Get()) : -1;
    const bool hasName = position > 0 && size > 0;
    return size >= 0 && (hasName || SyncParent(*place)) && WriteAll(file.Get(), position, data, length) &&
           Uninterrupted([&] { return fdatasync(file.Get()); }) == 0;
}

/// Repeats while the disk is full, for a little while. The bytes go to the same place each time.
bool WriteToDisk(std::int64_t position, const char* data, std::size_t length, const std::wstring& path) {
    if (!IsSaneBlock(position, data, length)) {
        errno = EINVAL;
        return false;
    }
    for (int waits = 0; !WriteOnce(position, data, length, path); ++waits) {
        if (!IsDiskFull(errno) || waits == kDiskFullWaits) {
            return false;
        }
        Platform::Sleep(kDiskFullWaitMilliseconds);
    }
    return true;
}

std::string Advice(int error) {
    if (IsDiskFull(error)) {
        return ". Make room on the disk; the transfer goes on from here at its next attempt.";
    }
    if (error == EXDEV || error == ELOOP) {
        return ". The path leads out of the sync folder and was refused.";
    }
    return ". Check that the folder is there and may be written; the transfer is tried again.";
}

}  // namespace

bool FileHepler::WriteLocalFileV(std::int64_t position, const char* data, std::size_t length,
                                 const std::wstring& path) {
    if (WriteToDisk(position, data, length, path)) {
        return true;
    }
    const int error = errno;
    SyncPanelLog::WriteErrorLog("FileHepler", "WriteLocalFileV",
                                "could not write " + std::to_string(length) + " bytes at " + std::to_string(position) +
                                    " of " + LogText::Name(path) + ": " + LogText::Reason(error) + Advice(error));
    return false;
}

bool FileHepler::WriteLocalFileByHandleV(std::int64_t position, const char* data, std::size_t length,
                                         Platform::HANDLE handle) {
    if (!IsSaneBlock(position, data, length) || !Platform::IsOpenHandle(handle)) {
        return false;
    }
    for (int waits = 0;; ++waits) {
        errno = 0;
        if (Platform::WriteAt(handle, position, data, length)) {
            return true;
        }
        const int error = errno;
        if (!IsDiskFull(error) || waits == kDiskFullWaits) {
            SyncPanelLog::WriteErrorLog("FileHepler", "WriteLocalFileByHandleV",
                                        "could not write " + std::to_string(length) + " bytes at " +
                                            std::to_string(position) + " of an open file: " + LogText::Reason(error) +
                                            Advice(error));
            return false;
        }
        Platform::Sleep(kDiskFullWaitMilliseconds);
    }
}

}  // namespace Drive::Common
