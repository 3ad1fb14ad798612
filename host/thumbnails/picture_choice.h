#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/get/cloud_tree.h"
#include "interfaces/common/file_item.h"

/// Which small pictures a run brings, and under which names. Pure.
namespace Drive::Host {

struct PictureChoice {
    std::vector<CloudEntry> entries;                  ///< files of which the cloud offers a picture
    std::vector<std::string> unknown;                 ///< names that were asked for and are not in the cloud
    std::unordered_set<std::string> withoutPictures;  ///< named files of which the cloud offers none
};

/// Everything below the paths of `only`, or everything when it is empty.
PictureChoice ChoosePictures(const std::vector<CloudEntry>& entries, const std::vector<std::string>& only);

/// Native, below the folder of the pictures: that of the file with ".jpg" behind it. The engine goes by the row where
/// there is one, which may still tell an earlier place. Empty when no path can be made of it.
std::string PicturePath(const CloudEntry& entry, const Common::FileItem* row);

/// How many bytes of a file LooksLikePicture wants to see.
inline constexpr std::size_t kPictureHead = 12;

/// Whether the first bytes are those of a JPEG or, since a file may be smaller than any picture of it and then stands
/// for it, of another of the usual formats. An error page under a good status is none.
bool LooksLikePicture(const std::string& head);

}  // namespace Drive::Host
