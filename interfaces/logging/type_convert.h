#pragma once

#include <string>

#include "interfaces/platform/export.h"

namespace Drive {

/// Text conversions of ZelkorSyncFile.Log. Static, any thread, no state. Narrow text is UTF-8.
class ZELKOR_API TypeConvert {
public:
    /// Wide to narrow; round-trips every text that StringToWString gives. Throws std::range_error for a surrogate
    /// outside U+DC80..U+DCFF and for a value above U+10FFFF.
    static std::string WStringToString(const std::wstring& text);

    /// Narrow to wide; bytes that are not valid UTF-8 become U+DC80..U+DCFF. Never throws.
    static std::wstring StringToWString(const std::string& text);

    /// Narrow text of an exception or of the cloud, made fit for the log: the identity for valid UTF-8, any other
    /// byte is replaced by U+FFFD. Never throws.
    static std::string UTF82Unicode(const std::string& text);
};

}  // namespace Drive
