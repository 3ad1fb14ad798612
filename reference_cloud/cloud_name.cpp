#include "reference_cloud/cloud_name.h"

#include "interfaces/cloud/wire/names.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

std::string CloudName(std::string_view nativeName) {
    std::wstring name;
    for (const wchar_t character : Widen(nativeName)) {
        if (character == L'\\') {
            name += static_cast<wchar_t>(0xF05C);
        } else if (character == static_cast<wchar_t>(0xF05C)) {
            name += {static_cast<wchar_t>(0xDCEF), static_cast<wchar_t>(0xDC81), static_cast<wchar_t>(0xDC9C)};
        } else {
            name += character;
        }
    }
    return Utf8(Drive::Cloud::Wire::EscapeName(name));
}

bool IsAllowedName(std::string_view name) {
    static constexpr std::size_t longest = 1024;
    if (name.empty() || name.size() > longest || name == "." || name == "..") return false;
    return name.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos && IsUtf8(name);
}

std::string CategoryOf(std::string_view mimeType) {
    const auto begins = [&](std::string_view head) { return mimeType.substr(0, head.size()) == head; };
    if (begins("image/")) return "image";
    if (begins("video/")) return "video";
    if (begins("audio/")) return "audio";
    const bool document = begins("text/") || begins("application/pdf") || begins("application/msword") ||
                          begins("application/vnd.oasis") || begins("application/vnd.openxmlformats") ||
                          begins("application/vnd.ms-");
    return document ? "document" : "other";
}

}  // namespace Drive::ReferenceCloud
