#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <exception>
#include <string>
#include <vector>

#include "interfaces/platform/file_calls.h"
#include "interfaces/platform/native_path.h"
#include "platform/posix/descriptor.h"

namespace Drive::Platform {

namespace {

constexpr std::size_t kCopyBlock = 1u << 20;

class Descriptor {
public:
    explicit Descriptor(int openDescriptor) : number(openDescriptor) {}
    ~Descriptor() {
        if (number >= 0) ::close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

/// A file beside the target, under a name of its own; removed again unless it became the target.
class TemporaryNeighbour {
public:
    explicit TemporaryNeighbour(const std::string& target) : file(Make(target)) {}
    ~TemporaryNeighbour() {
        if (file.number >= 0 && !renamed) ::unlink(path.c_str());
    }

    /// Takes the target's name; with `keepExisting` only when that name is free.
    bool Become(const std::string& target, bool keepExisting) {
        renamed = keepExisting ? TakeFreeName(target) : ::rename(path.c_str(), target.c_str()) == 0;
        return renamed;
    }

    std::string path;
    Descriptor file;

private:
    int Make(const std::string& target) {
        return RepeatInterrupted([&] {
            // Anew each time: an attempt that failed may have left anything in it.
            path = FolderOf(target) + "/.zelkor-copy-XXXXXX";
            return ::mkostemp(path.data(), O_CLOEXEC);
        });
    }

    bool TakeFreeName(const std::string& target) {
        if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return true;
        if (errno != EINVAL && errno != ENOSYS) return false;
        // A file system without that call: a second name is refused as well when the name is taken.
        if (::link(path.c_str(), target.c_str()) != 0) return false;
        ::unlink(path.c_str());
        return true;
    }

    bool renamed = false;
};

bool CopyContent(int from, int to) {
    std::vector<char> block(kCopyBlock);
    for (std::int64_t offset = 0;;) {
        const std::int64_t count = ReadDescriptorAt(from, offset, block.data(), block.size());
        if (count < 0) return false;
        if (count == 0) return true;
        if (!WriteDescriptorAt(to, offset, block.data(), static_cast<std::size_t>(count))) return false;
        offset += count;
    }
}

bool IsSameFile(const struct stat& source, const std::string& target) {
    struct stat status {};
    return ::stat(target.c_str(), &status) == 0 && status.st_dev == source.st_dev && status.st_ino == source.st_ino;
}

bool Copy(const std::string& from, const std::string& to, bool failIfExists) {
    const Descriptor source(
        RepeatInterrupted([&] { return ::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
    struct stat status {};
    if (source.number < 0 || ::fstat(source.number, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    if (IsSameFile(status, to)) return false;

    struct stat existing {};
    if (failIfExists && ::lstat(to.c_str(), &existing) == 0) return false;

    TemporaryNeighbour copy(to);
    if (copy.file.number < 0 || !CopyContent(source.number, copy.file.number)) return false;
    if (::fchmod(copy.file.number, status.st_mode & 0777) != 0) return false;
    // Only a name that points at content on disk may replace the earlier one.
    if (RepeatInterrupted([&] { return ::fsync(copy.file.number); }) != 0) return false;
    return copy.Become(to, failIfExists);
}

}  // namespace

BOOL CopyFileW(const wchar_t* from, const wchar_t* to, BOOL failIfExists) {
    try {
        if (from == nullptr || to == nullptr || from[0] == L'\0' || to[0] == L'\0') return 0;
        return Copy(NativePath(from), NativePath(to), failIfExists != 0) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

}  // namespace Drive::Platform
