#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "collaborators/common/log_text.h"
#include "collaborators/common/native_parts.h"
#include "collaborators/common/uninterrupted.h"
#include "collaborators/common/unique_fd.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Common {

namespace {

std::int64_t SizeOfRegular(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return -1;
    }
    errno = EINVAL;
    return S_ISREG(status.st_mode) ? status.st_size : -1;
}

bool ReadAll(int file, std::vector<char>& content) {
    std::size_t filled = 0;
    while (filled < content.size()) {
        const ssize_t got = read(file, content.data() + filled, content.size() - filled);
        if (got > 0) {
            filled += static_cast<std::size_t>(got);
        } else if (got == 0) {
            errno = EIO;
            return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool ReadWhole(const std::wstring& path, std::vector<char>& content) {
    const auto native = NativePathOf(path);
    if (!native) {
        errno = EINVAL;
        return false;
    }
    const UniqueFd file(
        Uninterrupted([&] { return open(native->c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
    const std::int64_t size = file ? SizeOfRegular(file.Get()) : -1;
    if (size < 0) {
        return false;
    }
    content.resize(static_cast<std::size_t>(size));
    if (!ReadAll(file.Get(), content)) {
        return false;
    }
    errno = EIO;
    return SizeOfRegular(file.Get()) == size;
}

}  // namespace

bool FileHepler::ReadLocalFile(const std::wstring& path, std::vector<char>& content) {
    content.clear();
    if (ReadWhole(path, content)) {
        return true;
    }
    const int error = errno;
    content.clear();
    SyncPanelLog::WriteErrorLog("FileHepler", "ReadLocalFile",
                                "could not read " + LogText::Name(path) + " whole: " + LogText::Reason(error) +
                                    ". Check that the file is there and may be read.");
    return false;
}

}  // namespace Drive::Common
