#include "interfaces/logging/logger_utility.h"

#include "interfaces/platform/native_path.h"

namespace Drive {

std::wstring LoggerUtility::GetLocalAppDataPath() { return Platform::LocalAppDataFolder(); }

}  // namespace Drive
