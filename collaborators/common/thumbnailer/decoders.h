#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Making a JPEG of a foreign file. Empty, with `reason`, for what cannot be decoded.
namespace Drive::Common::Thumbnailer {

using Jpeg = std::vector<std::uint8_t>;

/// Loads what the picture library needs; before the process is confined. False when it is not usable.
bool PrepareImages(const char* program);

/// A picture turned upright, on white, at most `side` pixels a side, without the original's private data.
Jpeg ImageToJpeg(int input, int side, std::string& reason);

/// A frame from the first tenth of a video.
Jpeg VideoToJpeg(int input, int side, std::string& reason);

}  // namespace Drive::Common::Thumbnailer
