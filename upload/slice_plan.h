#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Drive::TransferService {

/// Plain bytes of the slice at `position`: one slice size, cut back at the end of the file. 0 where the file has ended,
/// as for the object of the attachments.
inline std::int64_t SliceLength(std::int64_t sliceSize, std::int64_t fileSize, std::int64_t position) {
    const std::int64_t length = std::min(sliceSize, fileSize);
    return position + length > fileSize ? fileSize - position : length;
}

/// Bytes of `plain` bytes once encrypted: the padding always adds at least one.
inline std::int64_t PaddedLength(std::int64_t plain) { return plain / 16 * 16 + 16; }

}  // namespace Drive::TransferService
