#include "platform/win32/long_path.h"

#include <windows.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace Drive::Platform {

namespace {

constexpr wchar_t kSeparator = L'\\';
constexpr std::wstring_view kExact = L"\\\\?\\";
constexpr std::wstring_view kDevice = L"\\\\.\\";
constexpr std::wstring_view kNetwork = L"\\\\";

/// The system's own idea of the folder that a short beginning ("." or "x:." or "\") stands for.
std::wstring FolderOfBeginning(const std::wstring& beginning) {
    std::wstring folder(::GetFullPathNameW(beginning.c_str(), 0, nullptr, nullptr), L'\0');
    folder.resize(::GetFullPathNameW(beginning.c_str(), static_cast<::DWORD>(folder.size()), folder.data(), nullptr));
    return folder;
}

bool NamesDrive(const std::wstring& path) { return path.size() >= 2 && path[1] == L':'; }

/// An absolute path, unless the system cannot tell where the process stands.
std::wstring Absolute(const std::wstring& path) {
    if (path.starts_with(kNetwork) || (NamesDrive(path) && path[2] == kSeparator)) return path;
    if (NamesDrive(path)) return FolderOfBeginning(path.substr(0, 2) + L".") + kSeparator + path.substr(2);
    return FolderOfBeginning(path.front() == kSeparator ? L"\\" : L".") + kSeparator + path;
}

/// The names of `path` from `at` on, with "." and ".." resolved. `root` many are never taken back: those of a server
/// and its share.
std::vector<std::wstring> NamesFrom(const std::wstring& path, std::size_t at, std::size_t root) {
    std::vector<std::wstring> names;
    while (at < path.size()) {
        const std::size_t end = std::min(path.find(kSeparator, at), path.size());
        const std::wstring name = path.substr(at, end - at);
        at = end + 1;
        if (name.empty() || name == L".") continue;
        if (name != L"..") {
            names.push_back(name);
        } else if (names.size() > root) {
            names.pop_back();
        }
    }
    return names;
}

}  // namespace

std::wstring LongPath(const wchar_t* path) {
    if (path == nullptr || path[0] == L'\0') return {};
    std::wstring wanted = path;
    std::replace(wanted.begin(), wanted.end(), L'/', kSeparator);
    if (wanted.starts_with(kExact) || wanted.starts_with(kDevice)) return wanted;

    wanted = Absolute(wanted);
    if (wanted.starts_with(kExact)) return wanted;
    const bool onNetwork = wanted.starts_with(kNetwork);
    if (!onNetwork && !NamesDrive(wanted)) return {};

    std::wstring exact = std::wstring(kExact) + (onNetwork ? std::wstring(L"UNC") : wanted.substr(0, 2));
    const std::vector<std::wstring> names = NamesFrom(wanted, 2, onNetwork ? 2 : 0);
    for (const std::wstring& name : names) {
        if (name.find(L':') != std::wstring::npos) return {};
        exact += kSeparator + name;
    }
    if (names.empty() || wanted.back() == kSeparator) exact += kSeparator;
    return exact;
}

}  // namespace Drive::Platform
