#include "interfaces/platform/native_path.h"

namespace Drive::Platform {

bool IsSafeName(const std::wstring& name) {
    if (name.empty() || name == L"." || name == L"..") return false;
    for (const wchar_t element : name) {
        if (element == L'\\' || element == L'/' || element == L'\0') return false;
    }
    return true;
}

}  // namespace Drive::Platform
