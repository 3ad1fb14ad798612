#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "collaborators/common/native_parts.h"
#include "collaborators/common/unique_fd.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/common/placeholder.h"

namespace Drive::Common {

namespace {

constexpr char kPlaceholderMark[] = "user.zelkor.placeholder";

bool MeansAbsent(int error) { return error == ENOENT || error == ENOTDIR; }

bool IsEmptyFolder(int folder) {
    UniqueFd copy(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    DIR* entries = copy ? fdopendir(copy.Get()) : nullptr;
    if (entries == nullptr) {
        return false;
    }
    copy.Release();
    int names = 0;
    while (names <= 2 && readdir(entries) != nullptr) {
        ++names;
    }
    closedir(entries);
    return names <= 2;
}

/// Knows the sync root again: a mount point whose volume has gone is another folder under the same name, and an empty
/// one.
class KnownRoot {
public:
    bool IsStillThere(const std::string& path, int folder) {
        struct stat status {};
        if (fstat(folder, &status) != 0) {
            return false;
        }
        const auto identity = std::make_pair(status.st_dev, status.st_ino);
        const std::lock_guard<std::mutex> lock(mutex);
        if (path == knownPath && identity != knownIdentity && IsEmptyFolder(folder)) {
            return false;
        }
        knownPath = path;
        knownIdentity = identity;
        return true;
    }

private:
    std::mutex mutex;
    // Guarded by mutex.
    std::string knownPath;
    std::pair<dev_t, ino_t> knownIdentity{};
};

KnownRoot& SyncRoot() {
    static auto* root = new KnownRoot;
    return *root;
}

/// The question about a file below the sync root, asked of the root that is open, so that both answers belong to the
/// same volume.
bool ExistsBelowRoot(const NativeParts& root, const NativeParts& path) {
    const std::string rootPath = root.Joined();
    const UniqueFd folder(open(rootPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || !SyncRoot().IsStillThere(rootPath, folder.Get())) {
        return true;
    }
    const std::string relative = path.Joined(root.names.size());
    struct stat status {};
    if (fstatat(folder.Get(), relative.c_str(), &status, 0) == 0) {
        return !S_ISDIR(status.st_mode);
    }
    if (!MeansAbsent(errno)) {
        return true;
    }
    // A link whose target is not there: the target's volume may be gone, the file in the sync folder is not.
    return fstatat(folder.Get(), relative.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 || !MeansAbsent(errno);
}

bool IsExistingFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

}  // namespace

bool FileHepler::IsFileExists(const std::wstring& path) {
    if (path.empty()) {
        return false;
    }
    const auto native = NativePathOf(path);
    const auto nativeRoot = g_clientSyncRootFolder.empty() ? std::nullopt : NativePathOf(g_clientSyncRootFolder);
    if (!native) {
        // Such a name cannot be asked for; with a sync root it may stand below it.
        return nativeRoot.has_value();
    }
    if (nativeRoot) {
        const NativeParts root = SplitNative(*nativeRoot);
        const NativeParts parts = SplitNative(*native);
        const auto names = NamesBelow(parts, root);
        if (names && parts.names.size() > *names) {
            return ExistsBelowRoot(root, parts);
        }
    }
    return IsExistingFile(*native);
}

std::int64_t FileHepler::GetFileSizeApi(const std::wstring& path) {
    const auto native = NativePathOf(path);
    struct stat status {};
    if (!native || stat(native->c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return -1;
    }
    return status.st_size;
}

std::int64_t FileHepler::GetLocalFileSize(const std::wstring& path) { return GetFileSizeApi(path); }

bool FileHepler::IsPlaceholder(const std::wstring& path) {
    const auto native = NativePathOf(path);
    return native && getxattr(native->c_str(), kPlaceholderMark, nullptr, 0) >= 0 && IsExistingFile(*native);
}

bool MarkPlaceholder(const std::wstring& path) {
    const auto native = NativePathOf(path);
    return native && IsExistingFile(*native) && setxattr(native->c_str(), kPlaceholderMark, "1", 1, 0) == 0;
}

bool ClearPlaceholder(const std::wstring& path) {
    const auto native = NativePathOf(path);
    return native && (removexattr(native->c_str(), kPlaceholderMark) == 0 || errno == ENODATA || errno == ENOTSUP);
}

}  // namespace Drive::Common
