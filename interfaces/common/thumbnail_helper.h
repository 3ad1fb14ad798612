#pragma once

#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/platform/export.h"

namespace Drive::Common {

enum class ThumbnailOptions { Thumbnail = 0, LcdImage = 1 };

class ZELKOR_API ThumbnailHelper {
public:
    /// Writes a JPEG of the file's picture or of a frame of its video to `target`: at most 360 pixels a side for the
    /// thumbnail, 1080 for the LCD image. What cannot be decoded gets a small generic picture, so that a damaged photo
    /// is still backed up; false is answered for I/O errors only and leaves no target behind. Foreign pictures are
    /// decoded in a helper process with limits on memory, time and files. Any thread; blocks for the decoding.
    static bool CreateThumbnail(const FileItem& file, const ThumbnailOptions& option, const std::wstring& target);
};

}  // namespace Drive::Common
