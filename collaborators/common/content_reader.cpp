#include "collaborators/common/content_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <vector>

#include "collaborators/common/digest_beside.h"

namespace Drive::Common {

namespace {

constexpr std::size_t kBlockBytes = std::size_t{512} << 10;

using Block = std::vector<unsigned char>;

/// Fills the block; fewer bytes only at the end of the file, -1 with `errno` on failure.
std::int64_t FillBlock(int file, std::int64_t offset, Block& block) {
    std::size_t filled = 0;
    while (filled < block.size()) {
        const ssize_t got =
            pread(file, block.data() + filled, block.size() - filled, offset + static_cast<std::int64_t>(filled));
        if (got == 0) {
            break;
        }
        if (got > 0) {
            filled += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return static_cast<std::int64_t>(filled);
}

std::int64_t SizeOf(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 ? status.st_size : 0;
}

}  // namespace

std::optional<ContentDigests> ReadContent(int file, bool withMd5) {
    posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
    const std::int64_t size = SizeOf(file);
    ContentDigests result;
    RunningDigest sha256(EVP_sha256());
    std::array<Block, DigestBeside::kBlocks> blocks;
    DigestBeside md5(EVP_md5(), withMd5 && size > static_cast<std::int64_t>(kBlockBytes));
    for (std::size_t turn = 0;; turn = (turn + 1) % blocks.size()) {
        Block& block = blocks[turn];
        md5.AwaitFree();
        block.resize(kBlockBytes);
        const std::int64_t got = FillBlock(file, result.bytes, block);
        if (got < 0) {
            return std::nullopt;
        }
        const auto length = static_cast<std::size_t>(got);
        if (withMd5) {
            md5.Hand(block.data(), length);
        }
        sha256.Add(block.data(), length);
        result.bytes += got;
        // A file that grows as fast as it is read would never end.
        if (length < block.size() || result.bytes > size) {
            break;
        }
    }
    errno = ENOTSUP;
    const bool isGood = sha256.Finish(result.sha256.data()) && (!withMd5 || md5.Finish(result.md5.data()));
    return isGood ? std::optional(result) : std::nullopt;
}

}  // namespace Drive::Common
