#pragma once

#include <string>
#include <vector>

#include "host/tree/tree.h"

/// The visible tree as it stands on the disk.
namespace Drive::Host {

struct LocalEntry {
    std::string path;           ///< native, below the root
    std::wstring parentFolder;  ///< as the rows hold it: "a\b\", empty for the root
    std::wstring name;          ///< as the engine writes it
    FileFacts facts;            ///< Folder, File, Link or Other; Unreachable for a folder that cannot be read
};

/// Everything below the root, folders before what is in them, each folder's entries in order of their bytes. Links are
/// listed, not followed. `leaveOut` is a path below the root that is passed over with all it holds; may be empty.
std::vector<LocalEntry> ReadLocalTree(const Tree& root, const std::string& leaveOut);

}  // namespace Drive::Host
