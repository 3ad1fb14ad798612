#pragma once

#include <string>

#include "interfaces/common/file_item.h"

namespace Drive::TransferService {

/// Where the two pictures of a file are kept: the caches mirror the tree of the sync folder. Folders end in a
/// backslash.
struct PicturePaths {
    std::wstring smallFolder;
    std::wstring small;
    std::wstring largeFolder;
    std::wstring large;
};

/// `smallRoot` and `largeRoot` are the two cache folders, with or without a closing backslash. The file keeps its whole
/// name, with ".jpg" behind it.
PicturePaths PicturePathsOf(const Common::FileItem& file, const std::wstring& smallRoot, const std::wstring& largeRoot);

}  // namespace Drive::TransferService
