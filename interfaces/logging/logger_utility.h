#pragma once

#include <string>

#include "interfaces/platform/export.h"

namespace Drive {

class ZELKOR_API LoggerUtility {
public:
    /// The user's local application data folder, without a closing separator, backslash as separator. Read anew at
    /// each call; empty when none is known. Any thread.
    static std::wstring GetLocalAppDataPath();
};

}  // namespace Drive
