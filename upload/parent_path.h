#pragma once

#include <string>

namespace Drive::TransferService {

/// A folder by its own name and the path of the folder that it lies in.
struct ParentPath {
    std::wstring name;
    std::wstring folder;  ///< with its closing backslash; empty for the sync root
};

/// Splits the path of a folder below the sync root, given with its closing backslash. The last character is cut off
/// without a look at it. `path` is not empty.
ParentPath SplitParentPath(std::wstring path);

}  // namespace Drive::TransferService
