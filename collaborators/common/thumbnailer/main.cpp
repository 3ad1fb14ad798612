#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "collaborators/common/thumbnailer/confinement.h"
#include "collaborators/common/thumbnailer/decoders.h"
#include "collaborators/common/thumbnailer/protocol.h"

namespace {

using namespace Drive::Common::Thumbnailer;

constexpr int kMostPixels = 4096;

/// True when the disk refuses to give the file, as against a file whose content makes no sense.
bool HasReadError() {
    constexpr off_t kMostBytes = off_t{256} << 20;
    static std::array<char, 65536> block;
    for (off_t offset = 0; offset < kMostBytes;) {
        const ssize_t got = pread(kInput, block.data(), block.size(), offset);
        if (got == 0) {
            return false;
        }
        if (got < 0 && errno != EINTR) {
            return true;
        }
        offset += got > 0 ? got : 0;
    }
    return false;
}

bool Write(const Jpeg& jpeg) {
    for (std::size_t done = 0; done < jpeg.size();) {
        const ssize_t written = write(kOutput, jpeg.data() + done, jpeg.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

int Fail(const std::string& reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    return HasReadError() ? kCannotRead : kCannotDecode;
}

int Run(int count, char** arguments) {
    const std::string kind = count == 3 ? arguments[1] : "";
    const int side = count == 3 ? std::atoi(arguments[2]) : 0;
    if ((kind != kImage && kind != kVideo) || side < 1 || side > kMostPixels) {
        std::fprintf(stderr, "usage: %s image|video SIDE, with the file open at 3 and the picture at 4\n", kProgram);
        return kCannotDecode;
    }
    if (!LimitResources() || (kind == kImage && !PrepareImages(arguments[0]))) {
        std::fprintf(stderr, "the helper could not be confined\n");
        return kCannotRead;
    }
    ForbidOtherFiles(kInput);
    std::string reason;
    const Jpeg jpeg = kind == kImage ? ImageToJpeg(kInput, side, reason) : VideoToJpeg(kInput, side, reason);
    if (jpeg.empty()) {
        return Fail(reason);
    }
    return Write(jpeg) ? kDone : kCannotRead;
}

}  // namespace

int main(int count, char** arguments) {
    // Nothing is left to tidy up, and what a foreign file did to the libraries is not run through once more.
    _exit(Run(count, arguments));
}
