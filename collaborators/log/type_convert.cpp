#include "interfaces/logging/type_convert.h"

#include <cstdint>

#include "interfaces/platform/text.h"

namespace Drive {

std::string TypeConvert::WStringToString(const std::wstring& text) { return Platform::NarrowText(text); }

std::wstring TypeConvert::StringToWString(const std::string& text) { return Platform::WidenText(text); }

std::string TypeConvert::UTF82Unicode(const std::string& text) {
    std::wstring wide = Platform::WidenText(text);
    for (wchar_t& element : wide) {
        const auto point = static_cast<std::uint32_t>(element);
        if (point >= 0xDC80 && point <= 0xDCFF) element = 0xFFFD;
    }
    return Platform::NarrowText(wide);
}

}  // namespace Drive
