#include "collaborators/log/line_text.h"

#include <spdlog/details/os.h>
#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <cstdint>
#include <ctime>

#include "interfaces/platform/text.h"

namespace Drive::Logging {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsUndecodableByte(std::uint32_t point) { return point >= 0xDC80 && point <= 0xDCFF; }

bool HasNoUtf8Form(std::uint32_t point) { return (point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF; }

bool IsPlain(char byte) { return byte >= 0x20 && byte < 0x7F; }

bool NeedsEscape(std::uint32_t point) {
    return point < 0x20 || (point >= 0x7F && point < 0xA0) || IsUndecodableByte(point);
}

std::string EscapeOf(std::uint32_t point) {
    if (point == '\n') return "\\n";
    if (point == '\r') return "\\r";
    if (point == '\t') return "\\t";
    if (point >= 0x80 && point < 0xA0) return fmt::format("\\u{:04x}", point);
    return fmt::format("\\x{:02x}", point & 0xFF);
}

std::string EscapeOddStretch(const std::string& text) {
    std::wstring line;
    for (const wchar_t element : Platform::WidenText(text)) {
        const auto point = static_cast<std::uint32_t>(element);
        if (NeedsEscape(point)) {
            const std::string escape = EscapeOf(point);
            line.append(escape.begin(), escape.end());
        } else {
            line += element;
        }
    }
    return Platform::NarrowText(line);
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
    std::string line;
    line.reserve(text.size());
    // A character of several bytes has no plain byte in it, so the odd stretches can be taken one by one.
    for (auto at = text.begin(); at != text.end();) {
        const auto odd = std::find_if_not(at, text.end(), IsPlain);
        line.append(at, odd);
        at = std::find_if(odd, text.end(), IsPlain);
        line += EscapeOddStretch(std::string(odd, at));
    }
    return line;
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
