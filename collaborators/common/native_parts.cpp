#include "collaborators/common/native_parts.h"

#include <algorithm>
#include <stdexcept>

#include "interfaces/platform/native_path.h"

namespace Drive::Common {

std::string NativeParts::Joined(std::size_t first) const {
    std::string path;
    for (std::size_t index = first; index < names.size(); ++index) {
        if (!path.empty()) {
            path.push_back('/');
        }
        path += names[index];
    }
    return absolute && first == 0 ? "/" + path : path;
}

NativeParts SplitNative(const std::string& nativePath) {
    NativeParts parts;
    parts.absolute = nativePath.starts_with('/');
    for (std::size_t start = 0; start < nativePath.size();) {
        const std::size_t end = std::min(nativePath.find('/', start), nativePath.size());
        if (end > start) {
            parts.names.push_back(nativePath.substr(start, end - start));
        }
        start = end + 1;
    }
    return parts;
}

std::optional<std::string> NativePathOf(const std::wstring& path) {
    try {
        return Platform::NativePath(path);
    } catch (const std::range_error&) {
        return std::nullopt;
    }
}

std::optional<std::size_t> NamesBelow(const NativeParts& path, const NativeParts& folder) {
    if (path.absolute != folder.absolute || path.names.size() < folder.names.size() ||
        !std::equal(folder.names.begin(), folder.names.end(), path.names.begin())) {
        return std::nullopt;
    }
    return folder.names.size();
}

}  // namespace Drive::Common
