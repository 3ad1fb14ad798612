#pragma once

#include <string>

#include "interfaces/platform/export.h"

/// Conversion between wide text (one code point an element here) and narrow text (UTF-8). Any thread, no state.
namespace Drive::Platform {

/// Wide to narrow. U+DC80..U+DCFF become the single bytes 0x80..0xFF that they stand for, so that names with
/// undecodable bytes round-trip. Any other surrogate, and a value above U+10FFFF, throws std::range_error.
ZELKOR_API std::string NarrowText(const std::wstring& text);

/// Narrow to wide. A byte that is not part of valid UTF-8 becomes U+DC00 plus its value. Never throws but for memory.
ZELKOR_API std::wstring WidenText(const std::string& text);

}  // namespace Drive::Platform
