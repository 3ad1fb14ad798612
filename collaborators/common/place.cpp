#include "collaborators/common/place.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "collaborators/common/beneath.h"
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

}  // namespace

bool SyncFolder(int folder) {
    // EINVAL and its kin: this file system writes its folders by itself.
    return fsync(folder) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
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
    UniqueFd base(open(rootPath.c_str(), kFolderFlags));
    if (!base && errno == ENOENT && root->isCache && makeCache) {
        const Place folder(UniqueFd(), root->parts);
        base =
            folder.MakeFolders(root->parts.names.size()) ? UniqueFd(open(rootPath.c_str(), kFolderFlags)) : UniqueFd();
    }
    if (!base) {
        return std::nullopt;
    }
    parts.absolute = false;
    parts.names.erase(parts.names.begin(), parts.names.begin() + static_cast<std::ptrdiff_t>(root->parts.names.size()));
    return Place(std::move(base), std::move(parts));
}

UniqueFd Place::Open(std::size_t count, int flags, mode_t mode) const {
    const std::string path = Prefix(parts, count);
    if (base) {
        return OpenBeneath(base.Get(), path, flags, mode);
    }
    return UniqueFd(openat(AT_FDCWD, path.empty() ? "." : path.c_str(), flags | O_CLOEXEC, mode));
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
        if (!parent) {
            return false;
        }
        const bool isNew = mkdirat(parent.Get(), parts.names[made - 1].c_str(), kFolderMode) == 0;
        if ((!isNew && errno != EEXIST) || !SyncFolder(parent.Get())) {
            return false;
        }
        errno = ENOENT;
    }
    return static_cast<bool>(Open(count, O_PATH | O_DIRECTORY));
}

}  // namespace Drive::Common
