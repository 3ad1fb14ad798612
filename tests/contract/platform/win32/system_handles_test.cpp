#include <gtest/gtest.h>
#include <windows.h>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/handles.h"

namespace Drive::Platform {

namespace {

::DWORD CountSystemHandles() {
    ::DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return count;
}

/// The system's own handles of this process that stand for the file "file".
std::vector<::HANDLE> SystemHandlesOfTheFile() {
    std::vector<::HANDLE> found;
    for (std::uintptr_t number = 4; number < 4096; number += 4) {
        const auto handle = reinterpret_cast<::HANDLE>(number);
        wchar_t path[1024] = {};
        if (::GetFileType(handle) != FILE_TYPE_DISK || ::GetFinalPathNameByHandleW(handle, path, 1023, 0) == 0)
            continue;
        if (std::wstring(path).ends_with(L"\\file")) found.push_back(handle);
    }
    return found;
}

}  // namespace

// PLAT-HOME-24
TEST_F(Handles, ClosingGivesTheHandleOfTheSystemBack) {
    const ::DWORD before = CountSystemHandles();
    for (int count = 0; count < 50; ++count) {
        const HANDLE handle = Open();
        char byte = 0;
        EXPECT_EQ(ReadAt(handle, 0, &byte, 1), 1);
        CloseHandle(handle);
    }
    EXPECT_EQ(CountSystemHandles(), before);
}

// PLAT-HOME-25
TEST_F(Handles, TheHandleOfTheSystemDoesNotReachAChildProcess) {
    const HANDLE handle = Open();
    const std::vector<::HANDLE> raw = SystemHandlesOfTheFile();
    ASSERT_EQ(raw.size(), 1u);
    ::DWORD flags = HANDLE_FLAG_INHERIT;
    ASSERT_TRUE(::GetHandleInformation(raw.front(), &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
    CloseHandle(handle);
    EXPECT_TRUE(SystemHandlesOfTheFile().empty());
}

}  // namespace Drive::Platform
