#pragma once

#include <string>

namespace Drive::Cloud {

std::wstring Widen(const std::string& text);

/// Throws std::range_error for a text that cannot be narrowed.
std::string Narrow(const std::wstring& text);

/// The same, fit for a JSON body: what is not valid UTF-8 becomes U+FFFD. Not for names, which have a road of their
/// own.
std::string JsonText(const std::wstring& text);

/// A file name as it travels in JSON and in queries.
std::string WireName(const std::wstring& name);

/// Narrow, and an empty text instead of an exception: for log lines.
std::string Printable(const std::wstring& text);

bool IsUtf8(const std::string& text);
bool EqualsIgnoringCase(const std::string& left, const std::string& right);
std::string LowerCase(std::string text);

}  // namespace Drive::Cloud
