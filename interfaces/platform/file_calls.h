#pragma once

#include <cstddef>
#include <cstdint>

#include "interfaces/platform/export.h"
#include "interfaces/platform/types.h"

/// The operating system's file calls that the engine and Common need. Every operation may be called from any thread
/// at once. No operation throws. Paths are wide, with backslash or slash as separator; native_path.h tells how they
/// become names of this system.
namespace Drive::Platform {

/// Opens or makes a file, never a folder unless the flags ask for one. `access`, `share`, `disposition` and `flags` are
/// the numbers of the home platform. `security` and `templateFile` are always none. Reading, writing or attributes
/// follow from `access`; `disposition` 3 opens what exists, 4 opens or makes and never truncates. Share modes are not
/// enforced where the system has none. Returns a handle that the caller closes with CloseHandle, or kInvalidHandle;
/// then nothing was made or changed.
ZELKOR_API HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD share, void* security, DWORD disposition,
                              DWORD flags, HANDLE templateFile);

/// Closes a handle. False, quietly, for none, the invalid value and a handle that is unknown or closed already.
ZELKOR_API BOOL CloseHandle(HANDLE handle);

/// Bytes of the volume that holds `path`: free for the caller, in total, free in total. Any of the three may be null.
/// False, with the outputs untouched, when the folder cannot be asked.
ZELKOR_API BOOL GetDiskFreeSpaceExW(const wchar_t* path, DiskBytes* freeForCaller, DiskBytes* total,
                                    DiskBytes* totalFree);

/// Copies the content of `from` onto `to`. With `failIfExists` an existing target is refused. False on failure; the
/// target then holds what it held before, or is absent as before.
ZELKOR_API BOOL CopyFileW(const wchar_t* from, const wchar_t* to, BOOL failIfExists);

/// Reads up to `length` bytes at `offset` (bytes from the start of the file) into `data`, never moving a file
/// pointer; repeats short reads and interruptions. Returns the bytes read, fewer than `length` only at the end of the
/// file, or -1 on failure.
ZELKOR_API std::int64_t ReadAt(HANDLE handle, std::int64_t offset, void* data, std::size_t length);

/// Writes exactly `length` bytes at `offset`; repeats short writes and interruptions. False when not all of it could
/// be written; the file then holds an unknown part of the block.
ZELKOR_API bool WriteAt(HANDLE handle, std::int64_t offset, const void* data, std::size_t length);

/// Bytes of the open file, or -1.
ZELKOR_API std::int64_t SizeOf(HANDLE handle);

/// Returns true when all that was written through the handle would survive a loss of power. False when that cannot be
/// sworn, and from then on for as long as the handle is open: the system tells of a block that it lost once only.
/// Whoever has to be sure opens the file again and writes what it wrote once more.
ZELKOR_API bool SyncToDisk(HANDLE handle);

/// Handles that are open at this moment: what a test compares before and after.
ZELKOR_API std::size_t OpenHandleCount();

}  // namespace Drive::Platform
