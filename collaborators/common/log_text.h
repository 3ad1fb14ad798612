#pragma once

#include <string>

/// Texts for the log that never fail: whatever cannot be written as text is replaced.
namespace Drive::Common::LogText {

/// A path as narrow text.
std::string Name(const std::wstring& path);

/// What an error number of the system means, in words.
std::string Reason(int errorNumber);

}  // namespace Drive::Common::LogText
