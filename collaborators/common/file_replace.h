#pragma once

#include <string>
#include <vector>

namespace Drive::Common {

/// Puts a whole file in place at once: it is written beside the target, brought to the disk and renamed, so that no
/// reader sees a part of it. The same paths are refused as by FileHepler::WriteLocalFileV. False, with `errno` and the
/// target as it was, on failure.
bool ReplaceFile(const std::wstring& path, const std::vector<char>& content);

}  // namespace Drive::Common
