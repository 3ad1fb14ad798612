#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "collaborators/common/native_parts.h"
#include "collaborators/common/unique_fd.h"

/// Where a path of the engine may be changed. While a sync root is set, that is below it and below the two cache
/// folders, and no link leads out of them; without one (tools, tests) paths are taken as they are.
namespace Drive::Common {

/// A path that may be changed: a folder to start from and the components below it.
class Place {
public:
    /// Finds the place of a path. Nothing, with `errno` set, for a path that leaves the folders or that cannot be a
    /// name (EXDEV, EINVAL), and when the folder to start from is not there (ENOENT and the like): an absent sync root
    /// is never made, an absent cache folder is with `makeCache`.
    static std::optional<Place> Find(const std::wstring& path, bool makeCache);

    /// The same for what is to be a file: nothing, with EISDIR, also for a path that names a folder by its closing
    /// separator, or one of the folders itself.
    static std::optional<Place> FindFile(const std::wstring& path, bool makeCache);

    /// The components below the folder; empty when the path is that folder itself.
    const NativeParts& Parts() const { return parts; }

    /// Opens what stands at the first `count` components. Failures leave `errno`.
    UniqueFd Open(std::size_t count, int flags, mode_t mode = 0) const;

    /// Makes the folders of the first `count` components that are absent, each one's entry on disk before the next is
    /// made. False with `errno` on failure.
    bool MakeFolders(std::size_t count) const;

private:
    Place(UniqueFd base, NativeParts parts) : base(std::move(base)), parts(std::move(parts)) {}

    UniqueFd base;  // none: the path is taken as it is
    NativeParts parts;
};

/// Brings a folder's entries to the disk. True also where the file system has no such thing.
bool SyncFolder(int folder);

}  // namespace Drive::Common
