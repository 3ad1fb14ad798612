#include "interfaces/platform/native_path.h"

#include <cstdlib>
#include <stdexcept>

#include "interfaces/platform/text.h"

namespace Drive::Platform {

namespace {

/// Stands for a backslash that belongs to a name.
constexpr wchar_t kBackslashInName = 0xF05C;
/// The three bytes of a real U+F05C, each as an undecodable byte.
constexpr wchar_t kRealMappedCharacter[] = {0xDCEF, 0xDC81, 0xDC9C, 0};

std::wstring AbsoluteFolderOfEnvironment(const char* variable, const char* below) {
    const char* value = std::getenv(variable);
    // The XDG rules have relative paths ignored.
    if (value == nullptr || value[0] != '/') return {};
    std::string folder = std::string(value) + below;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    return EnginePath(folder);
}

}  // namespace

std::string NativePath(const std::wstring& path) {
    std::wstring mapped = path;
    for (wchar_t& element : mapped) {
        if (element == L'\0') throw std::range_error("a path holds a NUL and cannot be a name on disk");
        if (element == L'\\') {
            element = L'/';
        } else if (element == kBackslashInName) {
            element = L'\\';
        }
    }
    return NarrowText(mapped);
}

std::wstring EngineName(const std::string& nativeName) {
    std::wstring out;
    for (const wchar_t element : WidenText(nativeName)) {
        if (element == L'\\') {
            out += kBackslashInName;
        } else if (element == kBackslashInName) {
            out += kRealMappedCharacter;
        } else {
            out += element;
        }
    }
    return out;
}

std::wstring EnginePath(const std::string& nativePath) {
    std::wstring out = EngineName(nativePath);
    for (wchar_t& element : out) {
        if (element == L'/') element = L'\\';
    }
    return out;
}

std::wstring LocalAppDataFolder() {
    const std::wstring folder = AbsoluteFolderOfEnvironment("XDG_DATA_HOME", "");
    return folder.empty() ? AbsoluteFolderOfEnvironment("HOME", "/.local/share") : folder;
}

}  // namespace Drive::Platform
