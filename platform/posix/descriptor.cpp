#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace Drive::Platform {

std::string FolderOf(const std::string& nativePath) {
    const std::size_t separator = nativePath.rfind('/');
    if (separator == std::string::npos) return ".";
    return separator == 0 ? "/" : nativePath.substr(0, separator);
}

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

bool SyncFolder(const std::string& nativeFolder) {
    const int folder =
        RepeatInterrupted([&] { return ::open(nativeFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (folder < 0) return false;
    const bool synced = RepeatInterrupted([&] { return ::fsync(folder); }) == 0;
    ::close(folder);
    return synced;
}

}  // namespace Drive::Platform
