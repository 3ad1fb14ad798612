#include "collaborators/common/place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "collaborators/common/beneath.h"
#include "collaborators/common/uninterrupted.h"
#include "interfaces/common/globals.h"

namespace Drive::Common {

namespace {

constexpr mode_t kFolderMode = 0777;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

/// One of the folders that may be changed, as the settings name it.
struct Root {
    NativeParts parts;
    bool isCache = false;
};

std::optional<Root> RootAbove(const NativeParts& path) {
    const std::array<const std::wstring*, 3> folders = {&g_clientSyncRootFolder, &g_thumbnailFolder,
                                                        &g_lcdthumbnailFolder};
    std::optional<Root> best;
    for (const std::wstring* folder : folders) {
        const auto native = folder->empty() ? std::nullopt : NativePathOf(*folder);
        if (!native) {
            continue;
        }
        NativeParts parts = SplitNative(*native);
        if (NamesBelow(path, parts) && (!best || parts.names.size() > best->parts.names.size())) {
            best = Root{std::move(parts), folder != &g_clientSyncRootFolder};
        }
    }
    return best;
}

bool HasDots(const NativeParts& parts, std::size_t first) {
    return std::any_of(parts.names.begin() + static_cast<std::ptrdiff_t>(first), parts.names.end(),
                       [](const std::string& name) { return name == "." || name == ".."; });
}

std::string Prefix(const NativeParts& parts, std::size_t count) {
    NativeParts prefix{parts.absolute, {}};
    prefix.names.assign(parts.names.begin(), parts.names.begin() + static_cast<std::ptrdiff_t>(count));
    return prefix.Joined();
}

UniqueFd OpenFolder(const std::string& path) {
    return UniqueFd(Uninterrupted([&] { return open(path.c_str(), kFolderFlags); }));
}

/// Makes a folder in another one and brings its entry to the disk. One whose entry did not get there is taken back:
/// the next attempt would find it and build on it.
bool MakeFolderIn(int parent, const char* name) {
    const bool isNew = Uninterrupted([&] { return mkdirat(parent, name, kFolderMode); }) == 0;
    if (!isNew && errno != EEXIST) {
        return false;
    }
    if (SyncFolder(parent)) {
        return true;
    }
    const int error = errno;
    if (isNew) {
        unlinkat(parent, name, AT_REMOVEDIR);
    }
    errno = error;
    return false;
}

}  // namespace

bool SyncFolder(int folder) {
    // EINVAL and its kin: this file system writes its folders by itself.
    return Uninterrupted([&] { return fsync(folder); }) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
}

std::optional<Place> Place::Find(const std::wstring& path, bool makeCache) {
    const auto native = NativePathOf(path);
    if (!native || native->empty()) {
        errno = EINVAL;
        return std::nullopt;
    }
    NativeParts parts = SplitNative(*native);
    if (g_clientSyncRootFolder.empty()) {
        return Place(UniqueFd(), std::move(parts));
    }
    const auto root = RootAbove(parts);
    if (!root || HasDots(parts, root->parts.names.size())) {
        errno = EXDEV;
        return std::nullopt;
    }
    const std::string rootPath = root->parts.Joined();
    UniqueFd base = OpenFolder(rootPath);
    if (!base && errno == ENOENT && root->isCache && makeCache) {
        const Place folder(UniqueFd(), root->parts);
        base = folder.MakeFolders(root->parts.names.size()) ? OpenFolder(rootPath) : UniqueFd();
    }
    if (!base) {
        return std::nullopt;
    }
    parts.absolute = false;
    parts.names.erase(parts.names.begin(), parts.names.begin() + static_cast<std::ptrdiff_t>(root->parts.names.size()));
    return Place(std::move(base), std::move(parts));
}

std::optional<Place> Place::FindFile(const std::wstring& path, bool makeCache) {
    auto place = Find(path, makeCache);
    if (place && (place->parts.names.empty() || path.back() == L'\\' || path.back() == L'/')) {
        errno = EISDIR;
        return std::nullopt;
    }
    return place;
}

UniqueFd Place::Open(std::size_t count, int flags, mode_t mode) const {
    const std::string path = Prefix(parts, count);
    if (base) {
        return OpenBeneath(base.Get(), path, flags, mode);
    }
    const char* const name = path.empty() ? "." : path.c_str();
    return UniqueFd(Uninterrupted([&] { return openat(AT_FDCWD, name, flags | O_CLOEXEC, mode); }));
}

bool Place::MakeFolders(std::size_t count) const {
    if (Open(count, O_PATH | O_DIRECTORY)) {
        return true;
    }
    for (std::size_t made = 1; errno == ENOENT && made <= count; ++made) {
        if (Open(made, O_PATH | O_DIRECTORY)) {
            errno = ENOENT;
            continue;
        }
        if (errno != ENOENT) {
            return false;
        }
        const UniqueFd parent = Open(made - 1, kFolderFlags);
        if (!parent || !MakeFolderIn(parent.Get(), parts.names[made - 1].c_str())) {
            return false;
        }
        errno = ENOENT;
    }
    return errno == ENOENT && Open(count, O_PATH | O_DIRECTORY);
}

}  // namespace Drive::Common
