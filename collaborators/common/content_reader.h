#pragma once

#include <optional>

#include "collaborators/common/digest.h"

/// One pass over a file with its digests.
namespace Drive::Common {

/// The digests of one pass.
struct ContentDigests {
    Sha256Bytes sha256{};
    Md5Bytes md5{};  ///< only when it was asked for
    std::int64_t bytes = 0;
};

/// Reads an open file from its start to its end, a block at a time; the memory used does not depend on its size. What
/// the file grows by meanwhile is read for a block at most, enough to make another digest. With `withMd5` a second
/// thread makes the MD5, which is the slower of the two, beside the SHA-256. Nothing, with `errno`, when reading
/// failed.
std::optional<ContentDigests> ReadContent(int file, bool withMd5);

}  // namespace Drive::Common
