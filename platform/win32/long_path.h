#pragma once

#include <string>

namespace Drive::Platform {

/// The form of a path in which the system's calls take each name exactly as it stands and of any length: absolute, with
/// backslashes, behind `\\?\`. Without that prefix "a." would open "a", "nul" a device, and a path of 260 characters
/// nothing. "." and ".." are resolved; a path that has the prefix already, or that of a device, only gets its
/// separators changed. Empty for no path and for one with a colon in a name, which would be a stream of another file.
/// Throws for memory only.
std::wstring LongPath(const wchar_t* path);

}  // namespace Drive::Platform
