#include "interfaces/platform/text.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

/// Wide text has 16-bit elements here: a character above U+FFFF is a pair. A low surrogate that is no half of a pair is
/// an undecodable byte when it is in U+DC80..U+DCFF, as elsewhere.
namespace Drive::Platform {

namespace {

bool IsHighHalf(std::uint32_t element) { return element >= 0xD800 && element <= 0xDBFF; }
bool IsLowHalf(std::uint32_t element) { return element >= 0xDC00 && element <= 0xDFFF; }
bool IsUndecodableByte(std::uint32_t element) { return element >= 0xDC80 && element <= 0xDCFF; }

void AppendPoint(std::string& out, std::uint32_t point) {
    if (point < 0x80) {
        out += static_cast<char>(point);
        return;
    }
    if (point < 0x800) {
        out += static_cast<char>(0xC0 | (point >> 6));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | (point >> 12));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (point >> 18));
        out += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    }
    out += static_cast<char>(0x80 | (point & 0x3F));
}

void AppendWide(std::wstring& out, std::uint32_t point) {
    if (point < 0x10000) {
        out += static_cast<wchar_t>(point);
    } else {
        out += static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
        out += static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    }
}

/// Reads one sequence of valid UTF-8 into `point`; the bytes read, or 0.
std::size_t DecodeAt(const std::string& text, std::size_t at, std::uint32_t& point) {
    const auto first = static_cast<unsigned char>(text[at]);
    point = first;
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() - at < length) return 0;
    point &= 0x7Fu >> length;
    for (std::size_t index = 1; index < length; ++index) {
        const auto next = static_cast<unsigned char>(text[at + index]);
        if ((next & 0xC0) != 0x80) return 0;
        point = (point << 6) | (next & 0x3F);
    }
    const std::uint32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
    const bool isHalf = point >= 0xD800 && point <= 0xDFFF;
    return point < least || point > 0x10FFFF || isHalf ? 0 : length;
}

}  // namespace

std::string NarrowText(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::uint32_t element = text[at];
        if (IsHighHalf(element) && at + 1 < text.size() && IsLowHalf(text[at + 1])) {
            ++at;
            AppendPoint(out, 0x10000 + ((element - 0xD800) << 10) + (text[at] - 0xDC00u));
        } else if (IsUndecodableByte(element)) {
            out += static_cast<char>(element - 0xDC00);
        } else if (IsHighHalf(element) || IsLowHalf(element)) {
            throw std::range_error("text holds a value that is no character and cannot be narrowed");
        } else {
            AppendPoint(out, element);
        }
    }
    return out;
}

std::wstring WidenText(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        std::uint32_t point = 0;
        const std::size_t length = DecodeAt(text, at, point);
        if (length == 0) {
            out += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(text[at]));
            at += 1;
        } else {
            AppendWide(out, point);
            at += length;
        }
    }
    return out;
}

}  // namespace Drive::Platform
