#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Drive::Common {

/// A native path as its components: repeated and closing separators are passed over.
struct NativeParts {
    bool absolute = false;
    std::vector<std::string> names;

    /// The components from `first` on, joined.
    std::string Joined(std::size_t first = 0) const;
};

NativeParts SplitNative(const std::string& nativePath);

/// Platform::NativePath without an exception: nothing for a text that cannot be the name of a file.
std::optional<std::string> NativePathOf(const std::wstring& path);

/// How many components of `path` are those of `folder`, when `folder` is `path` or stands above it.
std::optional<std::size_t> NamesBelow(const NativeParts& path, const NativeParts& folder);

}  // namespace Drive::Common
