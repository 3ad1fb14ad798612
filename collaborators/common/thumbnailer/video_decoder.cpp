#include <libffmpegthumbnailer/videothumbnailer.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>

#include "collaborators/common/thumbnailer/decoders.h"

namespace Drive::Common::Thumbnailer {

namespace {

constexpr int kQuality = 8;

/// Play lists are text that names other files and addresses; no video that holds its own frames begins like that.
bool IsText(int input) {
    std::array<unsigned char, 32> head{};
    const ssize_t got = pread(input, head.data(), head.size(), 0);
    return got <= 0 || std::all_of(head.begin(), head.begin() + got, [](unsigned char byte) {
               return std::isprint(byte) != 0 || std::isspace(byte) != 0;
           });
}

}  // namespace

Jpeg VideoToJpeg(int input, int side, std::string& reason) {
    if (IsText(input)) {
        reason = "this is text or empty";
        return {};
    }
    try {
        ffmpegthumbnailer::VideoThumbnailer thumbnailer(side, false, true, kQuality, false);
        Jpeg jpeg;
        thumbnailer.generateThumbnail("/proc/self/fd/" + std::to_string(input), ThumbnailerImageType::Jpeg, jpeg);
        return jpeg;
    } catch (const std::exception& error) {
        reason = error.what();
        return {};
    }
}

}  // namespace Drive::Common::Thumbnailer
