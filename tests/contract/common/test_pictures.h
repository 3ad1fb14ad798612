#pragma once

#include <string>

/// Pictures and a video to try the thumbnails with.
namespace Drive::Common::Trial {

/// Call the first before any other, the second after them.
void PreparePictures(const char* program);
void EndPictures();

/// A picture with a slope of colours; `suffix` is ".jpg", ".png", ".webp", ".tif" or ".gif".
std::string Picture(int width, int height, const std::string& suffix, bool withAlpha = false);

/// A JPEG that says it must be turned by a quarter to stand upright.
std::string TurnedJpeg(int width, int height);

/// A second of video: JPEG pictures in an AVI file.
std::string Video(int width, int height);

/// What a JPEG shows.
struct Seen {
    bool isJpeg = false;
    int width = 0;
    int height = 0;
    int cornerBrightness = 0;  ///< of the first pixel, 0 to 255
};
Seen Look(const std::string& jpeg);

}  // namespace Drive::Common::Trial
