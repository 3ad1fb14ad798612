#pragma once

#include "interfaces/platform/file_calls.h"
#include "tests/support/operation.h"

namespace Drive::Testing {

/// The file calls of the platform: each call is a line of the journal ("file Operation(arguments)", access and flags in
/// hexadecimal, no pointer but "none" or "open"), then the script answers, and without a script the real one.
class WatchedFiles {
public:
    static WatchedFiles& Get();
    void Reset();

    Operation<Platform::HANDLE(const wchar_t*, Platform::DWORD, Platform::DWORD, void*, Platform::DWORD,
                               Platform::DWORD, Platform::HANDLE)>
        createFileW;
    Operation<Platform::BOOL(Platform::HANDLE)> closeHandle;
    Operation<Platform::BOOL(const wchar_t*, Platform::DiskBytes*, Platform::DiskBytes*, Platform::DiskBytes*)>
        getDiskFreeSpaceExW;
    Operation<Platform::BOOL(const wchar_t*, const wchar_t*, Platform::BOOL)> copyFileW;
};

}  // namespace Drive::Testing
