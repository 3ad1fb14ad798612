#pragma once

#include <string>

namespace Drive::TransferService {

/// The body of a multipart upload: two parts, metadata and plain content. There is deliberately no empty line between
/// a part's header and its data, and nothing follows the closing boundary. `metadata` brings its own line feed.
std::string BuildMultipartBody(const std::string& lineBreak, const std::string& boundary, const std::string& metadata,
                               const std::string& content);

}  // namespace Drive::TransferService
