#pragma once

#include <cstdint>
#include <string>

#include "interfaces/common/file_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"

namespace Drive::TransferService {

/// Headers of the request for a resume URL.
WMap ResumeOpeningHeaders(const Common::FileItem& file);

/// Headers of one slice of `count` bytes that starts at `position`.
WMap SliceHeaders(const Common::FileItem& file, std::uint64_t position, std::uint64_t count);

/// The slice size of the opening answer, read as a signed 32-bit number; text that is no number gives 0.
std::int32_t ReadSliceSize(const std::wstring& text);

/// The slice length that a resumed upload goes on with: the low 32 bits of its position as a signed number. By design
/// it is the position and not the slice size, so slices are as long as what had been sent before.
std::int32_t ResumedSliceLength(std::uint64_t position);

/// Bytes of the next slice. The comparison is without sign: a negative length gives all that is left.
std::uint64_t NextSliceLength(std::int32_t sliceLength, std::uint64_t position, std::uint64_t size);

/// The position record of a server upload as JSON text. It holds no version, so that the cloud's next answer counts as
/// a new plan: the record only keeps the state visible, the cloud keeps the upload.
std::wstring WritePositionRecord(const Common::UploadStartInfo& startInfo, std::uint64_t position,
                                 const std::wstring& resumeUrl);

}  // namespace Drive::TransferService
