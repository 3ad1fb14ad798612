#include "tests/support/watched_files.h"

#include <utility>

#include "tests/support/journal.h"
#include "tests/support/watching.h"

// The compiler gives a member function the place of a free one whose first argument is the object.

namespace Drive::Testing {

WatchedFiles& WatchedFiles::Get() {
    static auto* watched = new WatchedFiles;
    return *watched;
}

void WatchedFiles::Reset() {
    createFileW.Reset();
    closeHandle.Reset();
    getDiskFreeSpaceExW.Reset();
    copyFileW.Reset();
}

}  // namespace Drive::Testing

using namespace Drive;
using namespace Drive::Testing;

namespace {

template <class... Arguments>
void Record(const char* operation, const Arguments&... arguments) {
    RecordCall(Kind::File, operation, arguments...);
}

}  // namespace

Platform::HANDLE RealCreateFileW(
    const wchar_t* path, Platform::DWORD access, Platform::DWORD share, void* security, Platform::DWORD disposition,
    Platform::DWORD flags, Platform::HANDLE templateFile) asm("__real__ZN5Drive8Platform11CreateFileWEPKwjjPvjjS3_");
Platform::HANDLE WatchedCreateFileW(
    const wchar_t* path, Platform::DWORD access, Platform::DWORD share, void* security, Platform::DWORD disposition,
    Platform::DWORD flags, Platform::HANDLE templateFile) asm("__wrap__ZN5Drive8Platform11CreateFileWEPKwjjPvjjS3_");
Platform::HANDLE WatchedCreateFileW(const wchar_t* path, Platform::DWORD access, Platform::DWORD share, void* security,
                                    Platform::DWORD disposition, Platform::DWORD flags, Platform::HANDLE templateFile) {
    if (Unwatched::On()) return RealCreateFileW(path, access, share, security, disposition, flags, templateFile);
    Record("CreateFileW", path, Hex(access), share, security, disposition, Hex(flags), templateFile);
    const auto real = [](auto&&... given) -> Platform::HANDLE {
        KeepBaton keep;
        return RealCreateFileW(std::forward<decltype(given)>(given)...);
    };
    return WatchedFiles::Get().createFileW.Call(real, path, access, share, security, disposition, flags, templateFile);
}

Platform::BOOL RealCloseHandle(Platform::HANDLE handle) asm("__real__ZN5Drive8Platform11CloseHandleEPv");
Platform::BOOL WatchedCloseHandle(Platform::HANDLE handle) asm("__wrap__ZN5Drive8Platform11CloseHandleEPv");
Platform::BOOL WatchedCloseHandle(Platform::HANDLE handle) {
    if (Unwatched::On()) return RealCloseHandle(handle);
    Record("CloseHandle", HandleText(handle));
    const auto real = [](auto&&... given) -> Platform::BOOL {
        KeepBaton keep;
        return RealCloseHandle(std::forward<decltype(given)>(given)...);
    };
    return WatchedFiles::Get().closeHandle.Call(real, handle);
}

Platform::BOOL RealGetDiskFreeSpaceExW(
    const wchar_t* path, Platform::DiskBytes* freeForCaller, Platform::DiskBytes* total,
    Platform::DiskBytes* totalFree) asm("__real__ZN5Drive8Platform19GetDiskFreeSpaceExWEPKwPmS3_S3_");
Platform::BOOL WatchedGetDiskFreeSpaceExW(
    const wchar_t* path, Platform::DiskBytes* freeForCaller, Platform::DiskBytes* total,
    Platform::DiskBytes* totalFree) asm("__wrap__ZN5Drive8Platform19GetDiskFreeSpaceExWEPKwPmS3_S3_");
Platform::BOOL WatchedGetDiskFreeSpaceExW(const wchar_t* path, Platform::DiskBytes* freeForCaller,
                                          Platform::DiskBytes* total, Platform::DiskBytes* totalFree) {
    if (Unwatched::On()) return RealGetDiskFreeSpaceExW(path, freeForCaller, total, totalFree);
    Record("GetDiskFreeSpaceExW", path);
    const auto real = [](auto&&... given) -> Platform::BOOL {
        KeepBaton keep;
        return RealGetDiskFreeSpaceExW(std::forward<decltype(given)>(given)...);
    };
    return WatchedFiles::Get().getDiskFreeSpaceExW.Call(real, path, freeForCaller, total, totalFree);
}

Platform::BOOL RealCopyFileW(const wchar_t* from, const wchar_t* to,
                             Platform::BOOL failIfExists) asm("__real__ZN5Drive8Platform9CopyFileWEPKwS2_i");
Platform::BOOL WatchedCopyFileW(const wchar_t* from, const wchar_t* to,
                                Platform::BOOL failIfExists) asm("__wrap__ZN5Drive8Platform9CopyFileWEPKwS2_i");
Platform::BOOL WatchedCopyFileW(const wchar_t* from, const wchar_t* to, Platform::BOOL failIfExists) {
    if (Unwatched::On()) return RealCopyFileW(from, to, failIfExists);
    Record("CopyFileW", from, to, failIfExists);
    const auto real = [](auto&&... given) -> Platform::BOOL {
        KeepBaton keep;
        return RealCopyFileW(std::forward<decltype(given)>(given)...);
    };
    return WatchedFiles::Get().copyFileW.Call(real, from, to, failIfExists);
}
