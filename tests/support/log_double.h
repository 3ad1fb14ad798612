#pragma once

#include <string>

namespace Drive::Testing {

/// What LoggerUtility::GetLocalAppDataPath answers; empty at first.
void SetLocalAppDataPath(const std::wstring& path);

}  // namespace Drive::Testing
