#pragma once

#include <cstdint>
#include <string>

namespace Drive::TransferService {

/// How far a download has come; kept as JSON in `fragmentInfo` of its task.
struct DownloadPosition {
    std::int64_t writePosition = 0;  ///< next file offset to write, bytes; equals the bytes delivered
    int writeSliceIndex = 0;         ///< slices delivered in this pass; written, and acted on by nobody
};

/// Reads a record. A text of fewer than 11 characters, one that is no JSON object, and fields that are absent give 0;
/// what cannot be read leaves what was read before it. Never throws.
DownloadPosition ParseDownloadPosition(const std::wstring& text);

/// The record as text.
std::wstring FormatDownloadPosition(const DownloadPosition& position);

}  // namespace Drive::TransferService
