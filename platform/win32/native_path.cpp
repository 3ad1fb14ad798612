#include "interfaces/platform/native_path.h"

#include <initguid.h>
#include <windows.h>
// After windows.h, which they need.
#include <knownfolders.h>
#include <shlobj.h>

#include <memory>
#include <stdexcept>

#include "interfaces/platform/text.h"

/// Backslash is the separator of the system itself, and no name can hold one: nothing has to be mapped.
namespace Drive::Platform {

std::string NativePath(const std::wstring& path) {
    std::wstring mapped = path;
    for (wchar_t& element : mapped) {
        if (element == L'\0') throw std::range_error("a path holds a NUL and cannot be a name on disk");
        if (element == L'/') element = L'\\';
    }
    return NarrowText(mapped);
}

std::wstring EngineName(const std::string& nativeName) { return WidenText(nativeName); }

std::wstring EnginePath(const std::string& nativePath) {
    std::wstring out = WidenText(nativePath);
    for (wchar_t& element : out) {
        if (element == L'/') element = L'\\';
    }
    return out;
}

std::wstring LocalAppDataFolder() {
    PWSTR known = nullptr;
    const bool isKnown = SUCCEEDED(::SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &known));
    const std::unique_ptr<wchar_t, void (*)(void*)> owner(known, [](void* memory) { ::CoTaskMemFree(memory); });
    return isKnown ? std::wstring(known) : std::wstring();
}

}  // namespace Drive::Platform
