#pragma once

#include <string>

#include "interfaces/platform/export.h"

namespace Drive::Common {

/// One settings file of "key=value" lines, with sections and comments: UTF-8, or UTF-16 with its byte order mark. The
/// whole lines of its first MiB count. Read when asked, so that a change is seen at the next call. An object is used by
/// one thread at a time.
class ZELKOR_API IniFileHelper {
public:
    /// Remembers the path; an absent or unreadable file is no error.
    explicit IniFileHelper(const wchar_t* path);

    /// Value of a key in any section, the first one that stands in the file; empty when absent. Keys are compared
    /// without regard to case. Never throws but for memory.
    std::string ReadIniValueByKeyTypeString(const wchar_t* key);

private:
    std::wstring path;
};

}  // namespace Drive::Common
