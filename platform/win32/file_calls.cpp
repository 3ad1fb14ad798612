#include "interfaces/platform/file_calls.h"

#include <windows.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <string>

#include "platform/shared/handle_table.h"
#include "platform/win32/long_path.h"
#include "platform/win32/open_file.h"

namespace Drive::Platform {

namespace {

constexpr std::int64_t kLargestPiece = 1 << 30;

bool IsPlausibleRange(std::int64_t offset, std::size_t length) {
    const auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return offset >= 0 && length <= most - static_cast<std::uint64_t>(offset);
}

OVERLAPPED At(std::int64_t offset, ::HANDLE event) {
    OVERLAPPED place{};
    place.Offset = static_cast<::DWORD>(offset);
    place.OffsetHigh = static_cast<::DWORD>(offset >> 32);
    place.hEvent = event;
    return place;
}

/// One piece of a read or write, finished when it returns: a file opened for overlapped work answers "pending" first.
/// False on failure; the end of the file is a piece of 0 bytes.
template <typename Call>
bool RunPiece(::HANDLE file, std::int64_t offset, ::DWORD& moved, Call call) {
    // An event of its own: several threads may use the file at once.
    const ::HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) return false;
    OVERLAPPED place = At(offset, event);
    moved = 0;
    bool done = call(&place) != 0 || ::GetLastError() == ERROR_IO_PENDING;
    done = done && ::GetOverlappedResult(file, &place, &moved, TRUE) != 0;
    const bool atEnd = !done && ::GetLastError() == ERROR_HANDLE_EOF;
    ::CloseHandle(event);
    return done || atEnd;
}

/// Calls `piece(offset within the block, length)` until the whole block was moved, a piece moved nothing, or one
/// failed. The bytes moved, or -1.
template <typename Piece>
std::int64_t MovePieces(::HANDLE file, std::int64_t offset, std::size_t length, Piece piece) {
    const auto wanted = static_cast<std::int64_t>(length);
    std::int64_t done = 0;
    while (done < wanted) {
        const auto size = static_cast<::DWORD>(std::min(wanted - done, kLargestPiece));
        ::DWORD moved = 0;
        if (!RunPiece(file, offset + done, moved, [&](OVERLAPPED* place) { return piece(done, size, place); }))
            return -1;
        if (moved == 0) break;
        done += moved;
    }
    return done;
}

}  // namespace

HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                   HANDLE templateFile) {
    try {
        const std::wstring longPath = LongPath(path);
        if (longPath.empty()) return kInvalidHandle;
        // The place in the table comes first: when there is no memory for it, no file is made.
        const auto reserved = std::make_shared<OpenFile>();
        const HANDLE handle = InsertOpenFile(reserved);
        reserved->native = ::CreateFileW(longPath.c_str(), access, share, static_cast<LPSECURITY_ATTRIBUTES>(security),
                                         disposition, flags, templateFile);
        if (reserved->native != kInvalidHandle) return handle;
        RemoveOpenFile(handle);
    } catch (const std::exception&) {
        // No memory: the same answer as for a file that cannot be opened.
    }
    return kInvalidHandle;
}

BOOL CloseHandle(HANDLE handle) { return IsOpenHandle(handle) && RemoveOpenFile(handle) ? 1 : 0; }

BOOL GetDiskFreeSpaceExW(const wchar_t* path, DiskBytes* freeForCaller, DiskBytes* total, DiskBytes* totalFree) {
    ULARGE_INTEGER forCaller{}, all{}, free{};
    try {
        const std::wstring longPath = LongPath(path);
        if (longPath.empty() || !::GetDiskFreeSpaceExW(longPath.c_str(), &forCaller, &all, &free)) return 0;
    } catch (const std::exception&) {
        return 0;
    }
    if (freeForCaller != nullptr) *freeForCaller = forCaller.QuadPart;
    if (total != nullptr) *total = all.QuadPart;
    if (totalFree != nullptr) *totalFree = free.QuadPart;
    return 1;
}

std::int64_t ReadAt(HANDLE handle, std::int64_t offset, void* data, std::size_t length) {
    const auto file = FindOpenFile(handle);
    if (!file || !IsPlausibleRange(offset, length)) return -1;
    char* const target = static_cast<char*>(data);
    return MovePieces(file->native, offset, length, [&](std::int64_t done, ::DWORD size, OVERLAPPED* place) {
        return ::ReadFile(file->native, target + done, size, nullptr, place);
    });
}

bool WriteAt(HANDLE handle, std::int64_t offset, const void* data, std::size_t length) {
    const auto file = FindOpenFile(handle);
    if (!file || !IsPlausibleRange(offset, length)) return false;
    const char* const source = static_cast<const char*>(data);
    const auto write = [&](std::int64_t done, ::DWORD size, OVERLAPPED* place) {
        return ::WriteFile(file->native, source + done, size, nullptr, place);
    };
    return MovePieces(file->native, offset, length, write) == static_cast<std::int64_t>(length);
}

std::int64_t SizeOf(HANDLE handle) {
    const auto file = FindOpenFile(handle);
    LARGE_INTEGER size{};
    return file && ::GetFileSizeEx(file->native, &size) ? size.QuadPart : -1;
}

bool SyncToDisk(HANDLE handle) {
    const auto file = FindOpenFile(handle);
    if (!file) return false;
    // Brings the entry in the folder to the disk as well.
    if (!::FlushFileBuffers(file->native)) file->lost = true;
    return !file->lost;
}

std::size_t OpenHandleCount() { return CountOpenFiles(); }

}  // namespace Drive::Platform
