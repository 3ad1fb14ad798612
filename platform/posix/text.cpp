#include "interfaces/platform/text.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace Drive::Platform {

namespace {

constexpr std::uint32_t kUndecodableBase = 0xDC00;

bool IsUndecodableByte(std::uint32_t point) { return point >= 0xDC80 && point <= 0xDCFF; }
bool IsSurrogate(std::uint32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

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

struct Decoded {
    std::uint32_t point;
    std::size_t bytes;  // 0: the first byte starts no valid sequence
};

/// Reads one sequence. Overlong forms, surrogates and values above U+10FFFF are not valid UTF-8.
Decoded DecodeAt(const std::string& text, std::size_t at) {
    const auto byteAt = [&text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byteAt(at);
    if (first < 0x80) return {first, 1};

    std::size_t length = 0;
    std::uint32_t least = 0;
    std::uint32_t point = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2, least = 0x80, point = first & 0x1F;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3, least = 0x800, point = first & 0x0F;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4, least = 0x10000, point = first & 0x07;
    }
    if (length == 0 || text.size() - at < length) return {0, 0};

    for (std::size_t index = 1; index < length; ++index) {
        const unsigned char next = byteAt(at + index);
        if ((next & 0xC0) != 0x80) return {0, 0};
        point = (point << 6) | (next & 0x3F);
    }
    if (point < least || point > 0x10FFFF || IsSurrogate(point)) return {0, 0};
    return {point, length};
}

}  // namespace

std::string NarrowText(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t element : text) {
        const auto point = static_cast<std::uint32_t>(element);
        if (IsUndecodableByte(point)) {
            out += static_cast<char>(point - kUndecodableBase);
        } else if (IsSurrogate(point) || point > 0x10FFFF) {
            throw std::range_error("text holds a value that is no character and cannot be narrowed");
        } else {
            AppendPoint(out, point);
        }
    }
    return out;
}

std::wstring WidenText(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Decoded decoded = DecodeAt(text, at);
        if (decoded.bytes == 0) {
            out += static_cast<wchar_t>(kUndecodableBase + static_cast<unsigned char>(text[at]));
            at += 1;
        } else {
            out += static_cast<wchar_t>(decoded.point);
            at += decoded.bytes;
        }
    }
    return out;
}

}  // namespace Drive::Platform
