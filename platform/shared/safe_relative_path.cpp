#include "interfaces/platform/native_path.h"

namespace Drive::Platform {

namespace {

bool IsSeparator(wchar_t element) { return element == L'\\' || element == L'/'; }

}  // namespace

bool IsSafeRelativePath(const std::wstring& relativePath) {
    std::wstring path = relativePath;
    if (!path.empty() && IsSeparator(path.back())) path.pop_back();
    std::wstring name;
    for (const wchar_t element : path) {
        if (!IsSeparator(element)) {
            name += element;
            continue;
        }
        if (!IsSafeName(name)) return false;
        name.clear();
    }
    return IsSafeName(name);
}

}  // namespace Drive::Platform
