#pragma once

#include <string>
#include <vector>

#include "interfaces/cloud/drive_account.h"

/// From the cloud's flat listing to paths below the root. Pure.
namespace Drive::Host {

/// One entry of the listing with its place.
struct CloudEntry {
    Cloud::CloudFile file;
    std::wstring parentFolder;  ///< as the rows hold it: "a\b\", empty for the root
    std::string path;           ///< native, below the root; for a refused entry the nearest readable form
    std::string refusal;        ///< why it cannot stand on this disk; empty when it can
};

/// Places every entry of the listing but the root itself, parents before children. An entry is refused, by name and
/// with a reason, when its name is unsafe, too long, not expressible or taken by an entry listed before it, or when its
/// parent is refused, missing, no folder, or inside itself. `longestPath` is the most bytes that a path may have below
/// the root.
std::vector<CloudEntry> PlaceEntries(std::vector<Cloud::CloudFile> files, const std::wstring& rootFileId,
                                     std::size_t longestPath);

}  // namespace Drive::Host
