#include <algorithm>
#include <string>
#include <string_view>

#include "interfaces/platform/native_path.h"

/// What this system takes for something else than a name of its own is no name: a stream ("a:b"), a pattern ("a*"), a
/// device ("nul.txt"), and what it shortens to another name ("a.", "a ").
namespace Drive::Platform {

namespace {

bool IsForbidden(wchar_t element) {
    return element < L' ' || std::wstring_view(L"\\/:*?\"<>|").find(element) != std::wstring_view::npos;
}

/// The superscript digits count as digits.
bool IsPortNumber(wchar_t element) {
    return (element >= L'1' && element <= L'9') || element == 0xB9 || element == 0xB2 || element == 0xB3;
}

bool IsDevice(const std::wstring& name) {
    std::wstring stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ') stem.pop_back();
    std::transform(stem.begin(), stem.end(), stem.begin(), [](wchar_t element) {
        return element >= L'a' && element <= L'z' ? static_cast<wchar_t>(element - L'a' + L'A') : element;
    });
    for (const std::wstring_view device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"}) {
        if (stem == device) return true;
    }
    return stem.size() == 4 && (stem.starts_with(L"COM") || stem.starts_with(L"LPT")) && IsPortNumber(stem.back());
}

}  // namespace

bool IsSafeName(const std::wstring& name) {
    // "." and ".." are among those that end in a point.
    if (name.empty() || name.back() == L'.' || name.back() == L' ') return false;
    return std::none_of(name.begin(), name.end(), IsForbidden) && !IsDevice(name);
}

}  // namespace Drive::Platform
