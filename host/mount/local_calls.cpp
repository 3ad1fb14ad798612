#include "host/mount/local_calls.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "host/mount/fetch_progress.h"

namespace Drive::Host::Local {
namespace {

// The folder that holds a path's last part.
class Parent {
public:
    Parent(const Tree& tree, const std::string& path) : folder(tree.OpenParent(path, name)) {
        problem = folder.Number() < 0 ? errno : 0;
    }
    template <typename Call>
    int Do(Call&& call) const {
        return problem != 0 ? problem : call(folder.Number(), name.c_str()) == 0 ? 0 : errno;
    }
    int Folder() const { return folder.Number(); }
    const char* Name() const { return name.c_str(); }
    int Problem() const { return problem; }

private:
    std::string name;
    OpenFile folder;
    int problem = 0;
};

int Copy(int from, int to) {
    for (;;) {
        const ssize_t count = copy_file_range(from, nullptr, to, nullptr, 1 << 30, 0);
        if (count == 0) {
            return 0;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
    }
}

int CopyFile(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath) {
    int source = -1, target = -1;
    if (const int problem = Open(from, fromPath, O_RDONLY, 0, source); problem != 0) {
        return problem;
    }
    const OpenFile reading(source);
    if (const int problem = Open(to, toPath, O_WRONLY | O_CREAT | O_EXCL, 0600, target); problem != 0) {
        return problem;
    }
    const OpenFile writing(target);
    return Copy(source, target);
}

}  // namespace

int Stat(const Tree& tree, const std::string& path, struct stat& facts) {
    return Parent(tree, path).Do([&](int folder, const char* name) {
        return fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW);
    });
}

int Open(const Tree& tree, const std::string& path, int flags, mode_t mode, int& descriptor) {
    const Parent parent(tree, path);
    if (parent.Problem() != 0) {
        return parent.Problem();
    }
    descriptor = openat(parent.Folder(), parent.Name(), flags | O_NOFOLLOW | O_CLOEXEC, mode);
    return descriptor >= 0 ? 0 : errno;
}

int MakeParents(const Tree& tree, const std::string& path) {
    for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const int problem = MakeFolder(tree, path.substr(0, slash), 0777);
        if (problem != 0 && problem != EEXIST) {
            return problem;
        }
    }
    return 0;
}

int MakeFolder(const Tree& tree, const std::string& path, mode_t mode) {
    return Parent(tree, path).Do([&](int folder, const char* name) { return mkdirat(folder, name, mode); });
}

int Unlink(const Tree& tree, const std::string& path) {
    const int problem = Parent(tree, path).Do([](int folder, const char* name) { return unlinkat(folder, name, 0); });
    return problem == ENOENT ? 0 : problem;
}

int RemoveFolder(const Tree& tree, const std::string& path) {
    const int problem =
        Parent(tree, path).Do([](int folder, const char* name) { return unlinkat(folder, name, AT_REMOVEDIR); });
    return problem == ENOENT ? 0 : problem;
}

int Rename(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath) {
    const Parent target(to, toPath);
    if (target.Problem() != 0) {
        return target.Problem();
    }
    return Parent(from, fromPath).Do([&](int folder, const char* name) {
        return renameat(folder, name, target.Folder(), target.Name());
    });
}

int LinkOrCopy(const Tree& from, const std::string& fromPath, const Tree& to, const std::string& toPath) {
    const Parent target(to, toPath);
    if (target.Problem() != 0) {
        return target.Problem();
    }
    const int problem = Parent(from, fromPath).Do([&](int folder, const char* name) {
        return linkat(folder, name, target.Folder(), target.Name(), 0);
    });
    return problem == EPERM || problem == ENOTSUP || problem == EXDEV || problem == EMLINK
               ? CopyFile(from, fromPath, to, toPath)
               : problem;
}

int SetMode(const Tree& tree, const std::string& path, mode_t mode) {
    return Parent(tree, path).Do([&](int folder, const char* name) { return fchmodat(folder, name, mode, 0); });
}

int SetOwner(const Tree& tree, const std::string& path, uid_t user, gid_t group) {
    return Parent(tree, path).Do([&](int folder, const char* name) {
        return fchownat(folder, name, user, group, AT_SYMLINK_NOFOLLOW);
    });
}

int SetTimes(const Tree& tree, const std::string& path, const struct timespec times[2]) {
    return Parent(tree, path).Do([&](int folder, const char* name) {
        return utimensat(folder, name, times, AT_SYMLINK_NOFOLLOW);
    });
}

int SyncFolder(const Tree& tree, const std::string& path) {
    const OpenFile folder(tree.OpenFolder(path.empty() ? "." : path));
    if (folder.Number() < 0) {
        return errno == ENOENT ? 0 : errno;
    }
    return fsync(folder.Number()) == 0 ? 0 : errno;
}

void RemoveAll(const Tree& tree, const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(tree.Root() + "/" + path, ignored);
}

}  // namespace Drive::Host::Local
