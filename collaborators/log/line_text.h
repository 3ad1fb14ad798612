#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// Forms of text that a log line is made of.
namespace Drive::Logging {

/// Local time as ISO 8601 with milliseconds and zone: "2024-05-01T12:00:00.123+02:00".
std::string IsoTime(std::chrono::system_clock::time_point time);

/// The text on one line of valid UTF-8: control characters become \n, \r, \t, \x1b or \u0085, a byte that is not part
/// of valid UTF-8 becomes \xNN. Everything else, the backslash included, stays as it is.
std::string EscapeForLine(const std::string& text);

/// Wide text as valid UTF-8; what has no form in it becomes U+FFFD. Throws for memory only.
std::string PrintableUtf8(const std::wstring& text);

/// The number that the operating system gives the calling thread, as debuggers show it.
std::size_t CurrentThreadNumber() noexcept;

}  // namespace Drive::Logging
