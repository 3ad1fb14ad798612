#include <cmath>
#include <cstdio>

#include "host/report/reporter.h"
#include "interfaces/cloud/wire/names.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {

std::string Printable(const std::string& path) {
    std::string out;
    for (const wchar_t character : Platform::WidenText(path)) {
        const auto value = static_cast<unsigned long>(character);
        const bool undecodable = value >= 0xDC80 && value <= 0xDCFF;
        const bool control = value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x2028 || value == 0x2029 ||
                             (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
        if (undecodable || control) {
            char code[16];
            std::snprintf(code, sizeof code, value > 0xFF && !undecodable ? "\\u%04lX" : "\\x%02lX",
                          undecodable ? value - 0xDC00 : value);
            out += code;
        } else {
            out += Platform::NarrowText(std::wstring(1, character));
        }
    }
    return out;
}

std::string JsonPath(const std::string& path) {
    return Platform::NarrowText(Cloud::Wire::EscapeName(Platform::WidenText(path)));
}

std::string HumanBytes(std::int64_t bytes) {
    static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    double value = static_cast<double>(bytes);
    int unit = 0;
    while (std::fabs(value) >= 1024 && unit < 4) {
        value /= 1024;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, kUnits[unit]);
    return text;
}

std::string HumanSeconds(double seconds) {
    const long whole = std::lround(seconds < 0 ? 0 : seconds);
    char text[40];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    }
    return text;
}

}  // namespace Drive::Host
