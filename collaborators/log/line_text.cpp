#include "collaborators/log/line_text.h"

#include <spdlog/details/os.h>
#include <spdlog/fmt/fmt.h>

#include <cstdint>
#include <ctime>

#include "interfaces/platform/text.h"

namespace Drive::Logging {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsUndecodableByte(std::uint32_t point) { return point >= 0xDC80 && point <= 0xDCFF; }

bool HasNoUtf8Form(std::uint32_t point) { return (point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF; }

std::wstring Widened(const std::string& escape) { return std::wstring(escape.begin(), escape.end()); }

/// The escape of one element, or an empty text when it stands for itself.
std::wstring EscapeOf(std::uint32_t point) {
    if (point == '\n') return L"\\n";
    if (point == '\r') return L"\\r";
    if (point == '\t') return L"\\t";
    if (point < 0x20 || point == 0x7F) return Widened(fmt::format("\\x{:02x}", point));
    if (point >= 0x80 && point < 0xA0) return Widened(fmt::format("\\u{:04x}", point));
    if (IsUndecodableByte(point)) return Widened(fmt::format("\\x{:02x}", point - 0xDC00));
    return {};
}

}  // namespace

std::string IsoTime(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::tm local = spdlog::details::os::localtime(static_cast<std::time_t>(milliseconds / 1000));
    const int offset = spdlog::details::os::utc_minutes_offset(local);
    const int distance = offset < 0 ? -offset : offset;
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}{}{:02}:{:02}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, milliseconds % 1000,
                       offset < 0 ? '-' : '+', distance / 60, distance % 60);
}

std::string EscapeForLine(const std::string& text) {
    std::wstring line;
    for (const wchar_t element : Platform::WidenText(text)) {
        const std::wstring escape = EscapeOf(static_cast<std::uint32_t>(element));
        if (escape.empty()) {
            line += element;
        } else {
            line += escape;
        }
    }
    return Platform::NarrowText(line);
}

std::string PrintableUtf8(const std::wstring& text) {
    std::wstring printable = text;
    for (wchar_t& element : printable) {
        if (HasNoUtf8Form(static_cast<std::uint32_t>(element))) element = kReplacement;
    }
    return Platform::NarrowText(printable);
}

std::size_t CurrentThreadNumber() noexcept { return spdlog::details::os::thread_id(); }

}  // namespace Drive::Logging
