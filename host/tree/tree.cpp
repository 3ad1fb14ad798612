#include "host/tree/tree.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Drive::Host {
namespace {

std::string Failure(const char* what, const std::string& path) {
    return std::string("cannot ") + what + " " + path + ": " + std::strerror(errno);
}

std::string ParentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

class Descriptor {
public:
    explicit Descriptor(int number) : number(number) {}
    ~Descriptor() {
        if (number >= 0) {
            close(number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return number; }
    bool Good() const { return number >= 0; }

private:
    int number;
};

FileKind KindOf(mode_t mode) {
    return S_ISREG(mode)   ? FileKind::File
           : S_ISDIR(mode) ? FileKind::Folder
           : S_ISLNK(mode) ? FileKind::Link
                           : FileKind::Other;
}

}  // namespace

Tree::~Tree() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool Tree::Open(const std::string& folder, std::string& error) {
    root = folder;
    descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    error = descriptor >= 0 ? "" : Failure("open the folder", folder);
    return descriptor >= 0;
}

bool Tree::Lock() { return flock(descriptor, LOCK_EX | LOCK_NB) == 0; }

int Tree::OpenBeneath(const std::string& path, int flags, unsigned mode) const {
    struct open_how how {};
    how.flags = static_cast<unsigned long long>(flags | O_CLOEXEC);
    how.mode = mode;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    int result = -1;
    do {
        result = static_cast<int>(syscall(SYS_openat2, descriptor, path.c_str(), &how, sizeof how));
    } while (result < 0 && (errno == EAGAIN || errno == EINTR));
    return result;
}

int Tree::OpenParent(const std::string& path, std::string& name) const {
    const std::size_t slash = path.rfind('/');
    name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") {
        errno = EINVAL;
        return -1;
    }
    return OpenBeneath(ParentOf(path), O_PATH | O_DIRECTORY);
}

int Tree::OpenFolder(const std::string& path) const { return OpenBeneath(path, O_RDONLY | O_DIRECTORY); }

int Tree::OpenForReading(const std::string& path) const { return OpenBeneath(path, O_RDONLY | O_NOFOLLOW); }

std::string Tree::ReadProblem(const std::string& path) const {
    const Descriptor file(OpenForReading(path));
    return file.Good() ? "" : std::string("it cannot be read: ") + std::strerror(errno);
}

int Tree::OpenFile(const std::string& path) const { return OpenBeneath(path, O_WRONLY | O_NOFOLLOW); }

FileFacts Tree::Look(const std::string& path) const {
    std::string name;
    const Descriptor parent(OpenParent(path, name));
    if (!parent.Good()) {
        return {errno == ENOENT ? FileKind::Absent : FileKind::Unreachable, 0, 0};
    }
    struct stat facts {};
    if (fstatat(parent.Number(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0) {
        return {errno == ENOENT ? FileKind::Absent : FileKind::Unreachable, 0, 0};
    }
    return {KindOf(facts.st_mode), facts.st_size, facts.st_mtim.tv_sec * 1000000000LL + facts.st_mtim.tv_nsec};
}

bool Tree::MakeFolders(const std::string& path, std::string& error) {
    if (path.empty() || path == ".") {
        return true;
    }
    if (const Descriptor there(OpenBeneath(path, O_PATH | O_DIRECTORY)); there.Good()) {
        return true;
    }
    if (!MakeFolders(path.find('/') == std::string::npos ? "" : ParentOf(path), error)) {
        return false;
    }
    std::string name;
    const Descriptor parent(OpenParent(path, name));
    if (!parent.Good() || (mkdirat(parent.Number(), name.c_str(), 0777) != 0 && errno != EEXIST)) {
        error = Failure("make the folder", root + "/" + path);
        return false;
    }
    const Descriptor made(OpenBeneath(path, O_PATH | O_DIRECTORY));
    error = made.Good() ? "" : Failure("use the folder", root + "/" + path);
    return made.Good();
}

bool Tree::MakeEmptyFile(const std::string& path, std::string& error) {
    if (!RemoveFile(path, error) || !MakeFolders(ParentOf(path), error)) {
        return false;
    }
    const Descriptor made(OpenBeneath(path, O_WRONLY | O_CREAT | O_EXCL, 0666));
    error = made.Good() ? "" : Failure("make the file", root + "/" + path);
    return made.Good();
}

bool Tree::RemoveFile(const std::string& path, std::string& error) {
    std::string name;
    const Descriptor parent(OpenParent(path, name));
    if (!parent.Good() ? errno == ENOENT : unlinkat(parent.Number(), name.c_str(), 0) == 0 || errno == ENOENT) {
        return true;
    }
    error = Failure("remove", root + "/" + path);
    return false;
}

void Tree::RemoveFolderIfEmpty(const std::string& path) {
    std::string name;
    const Descriptor parent(OpenParent(path, name));
    if (parent.Good()) {
        unlinkat(parent.Number(), name.c_str(), AT_REMOVEDIR);
    }
}

bool Tree::SetTime(const std::string& path, std::int64_t seconds) {
    std::string name;
    const Descriptor parent(OpenParent(path, name));
    const struct timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
    return parent.Good() && utimensat(parent.Number(), name.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

void Tree::Sync() const { syncfs(descriptor); }

}  // namespace Drive::Host
