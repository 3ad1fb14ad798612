#pragma once

#include <string>

#include "interfaces/platform/export.h"

/// File names in JSON bodies. JSON cannot carry bytes that are not UTF-8, so an undecodable byte 0xNN (U+DCNN in our
/// wide text) travels as U+F7NN, and a name that really holds a character of U+F780..U+F7FF has each of that
/// character's UTF-8 bytes escaped in the same way. Both directions are inverse for every text that WidenText gives.
namespace Drive::Cloud::Wire {

inline std::wstring EscapeName(const std::wstring& name) {
    std::wstring out;
    for (const wchar_t character : name) {
        const auto value = static_cast<unsigned long>(character);
        if (value >= 0xDC80 && value <= 0xDCFF) {
            out += static_cast<wchar_t>(0xF700 + (value - 0xDC00));
        } else if (value >= 0xF780 && value <= 0xF7FF) {
            out += static_cast<wchar_t>(0xF7EF);
            out += static_cast<wchar_t>(0xF700 + (0x80 | ((value >> 6) & 0x3F)));
            out += static_cast<wchar_t>(0xF700 + (0x80 | (value & 0x3F)));
        } else {
            out += character;
        }
    }
    return out;
}

inline std::wstring UnescapeName(const std::wstring& name) {
    std::wstring out;
    for (std::size_t index = 0; index < name.size(); ++index) {
        const auto at = [&](std::size_t offset) {
            return index + offset < name.size() ? static_cast<unsigned long>(name[index + offset]) : 0UL;
        };
        const unsigned long value = at(0);
        if (value < 0xF780 || value > 0xF7FF) {
            out += name[index];
            continue;
        }
        const unsigned long second = at(1), third = at(2);
        const bool continued = second >= 0xF780 && second <= 0xF7BF && third >= 0xF780 && third <= 0xF7BF;
        const unsigned long whole = 0xF000 | ((second & 0x3F) << 6) | (third & 0x3F);
        if (value == 0xF7EF && continued && whole >= 0xF780 && whole <= 0xF7FF) {
            out += static_cast<wchar_t>(whole);
            index += 2;
        } else {
            out += static_cast<wchar_t>(0xDC00 + (value - 0xF700));
        }
    }
    return out;
}

}  // namespace Drive::Cloud::Wire
