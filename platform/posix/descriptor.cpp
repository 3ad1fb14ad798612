#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Drive::Platform {

namespace {

bool IsEntryOf(int folder, const std::string& name, int descriptor) {
    struct stat entry {};
    struct stat file {};
    return ::fstatat(folder, name.c_str(), &entry, AT_SYMLINK_NOFOLLOW) == 0 && ::fstat(descriptor, &file) == 0 &&
           entry.st_dev == file.st_dev && entry.st_ino == file.st_ino;
}

}  // namespace

std::string FolderOf(const std::string& nativePath) {
    const std::size_t separator = nativePath.rfind('/');
    if (separator == std::string::npos) return ".";
    return separator == 0 ? "/" : nativePath.substr(0, separator);
}

std::string NameOf(const std::string& nativePath) { return nativePath.substr(nativePath.rfind('/') + 1); }

std::int64_t ReadDescriptorAt(int descriptor, std::int64_t offset, void* data, std::size_t length) {
    char* const target = static_cast<char*>(data);
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count = RepeatInterrupted(
            [&] { return ::pread(descriptor, target + done, length - done, offset + static_cast<off_t>(done)); });
        if (count < 0) return -1;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return static_cast<std::int64_t>(done);
}

bool WriteDescriptorAt(int descriptor, std::int64_t offset, const void* data, std::size_t length) {
    const char* const source = static_cast<const char*>(data);
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count = RepeatInterrupted(
            [&] { return ::pwrite(descriptor, source + done, length - done, offset + static_cast<off_t>(done)); });
        if (count <= 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

EntrySync SyncEntry(const std::string& folder, const std::string& name, int descriptor) {
    const int opened = RepeatInterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (opened < 0) return EntrySync::CannotTell;
    EntrySync result = EntrySync::CannotTell;
    if (IsEntryOf(opened, name, descriptor)) {
        const bool synced = RepeatInterrupted([&] { return ::fsync(opened); }) == 0;
        const bool unable = !synced && (errno == EINVAL || errno == ENOTSUP || errno == ENOSYS);
        if (!unable) result = synced ? EntrySync::Done : EntrySync::Failed;
    }
    ::close(opened);
    return result;
}

}  // namespace Drive::Platform
