#include "interfaces/platform/file_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "interfaces/platform/native_path.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/open_file.h"
#include "platform/shared/handle_table.h"

namespace Drive::Platform {

namespace {

constexpr DWORD kGenericAll = 0x10000000;
constexpr DWORD kReadData = 0x1;
constexpr DWORD kWriteData = 0x2 | 0x4;  // to write and to append
constexpr DWORD kFolderFlag = 0x02000000;

constexpr DWORD kCreateNew = 1;
constexpr DWORD kCreateAlways = 2;
constexpr DWORD kTruncateExisting = 5;

/// The native flags of an access: O_PATH for attributes alone, which needs no right to read.
int AccessFlags(DWORD access) {
    const bool reads = (access & (kGenericRead | kGenericAll | kReadData)) != 0;
    const bool writes = (access & (kGenericWrite | kGenericAll | kWriteData)) != 0;
    if (reads && writes) return O_RDWR;
    if (writes) return O_WRONLY;
    return reads ? O_RDONLY : O_PATH;
}

std::optional<int> DispositionFlags(DWORD disposition) {
    switch (disposition) {
        case kCreateNew:
            return O_CREAT | O_EXCL;
        case kCreateAlways:
            return O_CREAT | O_TRUNC;
        case kOpenExisting:
            return 0;
        case kOpenAlways:
            return O_CREAT;
        case kTruncateExisting:
            return O_TRUNC;
        default:
            return std::nullopt;
    }
}

/// Nothing here may wait for the other end of a pipe, become the terminal of the process or reach a child.
int OpenOnce(const std::string& path, int flags) {
    constexpr int kAlways = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    return RepeatInterrupted([&] { return ::open(path.c_str(), flags | kAlways, 0666); });
}

bool IsFolder(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode);
}

/// What is there already: a folder only when the caller asks for one, as at home.
int OpenExisting(const std::string& path, int accessFlags, bool folders) {
    const int there = OpenOnce(path, accessFlags);
    if (there < 0 || folders || !IsFolder(there)) return there;
    ::close(there);
    errno = EISDIR;
    return -1;
}

/// An attribute handle makes and empties nothing by itself here: another descriptor does that. What is there already
/// and not writable is no obstacle, unless it was to be new or emptied.
int MakeForAttributes(const std::string& path, int dispositionFlags, bool folders) {
    const int there = OpenExisting(path, O_PATH, folders);
    if (there < 0 && errno != ENOENT) return -1;
    if (there >= 0 && dispositionFlags == O_CREAT) return there;
    // Absent: nobody else may make it meanwhile, so that a failure can take it back.
    const int other = OpenOnce(path, O_WRONLY | dispositionFlags | (there < 0 ? O_EXCL : 0));
    const int why = errno;
    if (other >= 0) ::close(other);
    if (other >= 0 && there >= 0) return there;
    if (there >= 0) ::close(there);
    if (other < 0) return why == EEXIST && dispositionFlags == O_CREAT ? OpenExisting(path, O_PATH, folders) : -1;
    const int made = OpenOnce(path, O_PATH);
    if (made < 0) ::unlink(path.c_str());
    return made;
}

int OpenDescriptor(const std::string& path, int accessFlags, int dispositionFlags, bool folders) {
    if (dispositionFlags == 0) return OpenExisting(path, accessFlags, folders);
    // Nothing is emptied without the right to write, as at home.
    if (dispositionFlags == O_TRUNC && (accessFlags == O_RDONLY || accessFlags == O_PATH)) return -1;
    if (accessFlags == O_PATH) return MakeForAttributes(path, dispositionFlags, folders);
    // What may be made or emptied is no folder: the system refuses that.
    return OpenOnce(path, accessFlags | dispositionFlags);
}

HANDLE Open(const wchar_t* path, DWORD access, DWORD disposition, DWORD flags) {
    const std::optional<int> dispositionFlags = DispositionFlags(disposition);
    if (path == nullptr || path[0] == L'\0' || !dispositionFlags) return kInvalidHandle;

    const std::string nativePath = NativePath(path);
    // The place in the table comes first: when there is no memory for it, no file is made.
    auto reserved = std::make_shared<OpenFile>(FolderOf(nativePath), NameOf(nativePath));
    const HANDLE handle = InsertOpenFile(reserved);
    reserved->descriptor =
        OpenDescriptor(nativePath, AccessFlags(access), *dispositionFlags, (flags & kFolderFlag) != 0);
    if (reserved->descriptor >= 0) return handle;
    RemoveOpenFile(handle);
    return kInvalidHandle;
}

bool SyncContentAndEntry(OpenFile& file) {
    if (RepeatInterrupted([&] { return ::fsync(file.descriptor); }) != 0) return false;
    if (file.entryOnDisk) return true;
    // Content without a name would be lost as well.
    switch (SyncEntry(file.folder, file.name, file.descriptor)) {
        case EntrySync::Done:
            return file.entryOnDisk = true;
        case EntrySync::Failed:
            return false;
        case EntrySync::CannotTell:
            // The slow road takes the whole file system.
            return file.entryOnDisk = RepeatInterrupted([&] { return ::syncfs(file.descriptor); }) == 0;
    }
    return false;
}

bool IsPlausibleRange(std::int64_t offset, std::size_t length) {
    const auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return offset >= 0 && length <= most - static_cast<std::uint64_t>(offset);
}

}  // namespace

HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD, void*, DWORD disposition, DWORD flags, HANDLE) {
    try {
        return Open(path, access, disposition, flags);
    } catch (const std::exception&) {
        return kInvalidHandle;
    }
}

BOOL CloseHandle(HANDLE handle) { return IsOpenHandle(handle) && RemoveOpenFile(handle) ? 1 : 0; }

BOOL GetDiskFreeSpaceExW(const wchar_t* path, DiskBytes* freeForCaller, DiskBytes* total, DiskBytes* totalFree) {
    struct statvfs volume {};
    try {
        if (path == nullptr || path[0] == L'\0') return 0;
        const std::string nativePath = NativePath(path);
        if (RepeatInterrupted([&] { return ::statvfs(nativePath.c_str(), &volume); }) != 0) return 0;
    } catch (const std::exception&) {
        return 0;
    }
    const DiskBytes blockSize = volume.f_frsize;
    if (freeForCaller != nullptr) *freeForCaller = volume.f_bavail * blockSize;
    if (total != nullptr) *total = volume.f_blocks * blockSize;
    if (totalFree != nullptr) *totalFree = volume.f_bfree * blockSize;
    return 1;
}

std::int64_t ReadAt(HANDLE handle, std::int64_t offset, void* data, std::size_t length) {
    const auto file = FindOpenFile(handle);
    if (!file || !IsPlausibleRange(offset, length)) return -1;
    return ReadDescriptorAt(file->descriptor, offset, data, length);
}

bool WriteAt(HANDLE handle, std::int64_t offset, const void* data, std::size_t length) {
    const auto file = FindOpenFile(handle);
    if (!file || !IsPlausibleRange(offset, length)) return false;
    return WriteDescriptorAt(file->descriptor, offset, data, length);
}

std::int64_t SizeOf(HANDLE handle) {
    const auto file = FindOpenFile(handle);
    struct stat status {};
    if (!file || ::fstat(file->descriptor, &status) != 0) return -1;
    return status.st_size;
}

bool SyncToDisk(HANDLE handle) {
    const auto file = FindOpenFile(handle);
    if (!file) return false;
    if (!SyncContentAndEntry(*file)) file->lost = true;
    return !file->lost;
}

std::size_t OpenHandleCount() { return CountOpenFiles(); }

}  // namespace Drive::Platform
