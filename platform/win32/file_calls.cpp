#include "interfaces/platform/file_calls.h"

#include <windows.h>

#include <algorithm>
#include <exception>
#include <new>
#include <set>
#include <shared_mutex>
#include <string>

/// The calls themselves: handles are the system's own. A list of the open ones keeps CloseHandle quiet about any other
/// value and counts them.
namespace Drive::Platform {

namespace {

constexpr std::int64_t kLargestPiece = 1 << 30;

struct OpenHandles {
    std::shared_mutex mutex;
    // Guarded by mutex.
    std::set<HANDLE> handles;
};

/// Never destroyed: workers may hold handles while the process ends.
OpenHandles& Handles() {
    static OpenHandles* const open = new OpenHandles;
    return *open;
}

bool IsKnown(HANDLE handle) {
    std::shared_lock<std::shared_mutex> lock(Handles().mutex);
    return Handles().handles.count(handle) != 0;
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
bool RunPiece(HANDLE handle, std::int64_t offset, ::DWORD& moved, Call call) {
    const ::HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) return false;
    OVERLAPPED place = At(offset, event);
    moved = 0;
    bool done = call(&place) != 0 || ::GetLastError() == ERROR_IO_PENDING;
    done = done && ::GetOverlappedResult(handle, &place, &moved, TRUE) != 0;
    const bool atEnd = !done && ::GetLastError() == ERROR_HANDLE_EOF;
    ::CloseHandle(event);
    return done || atEnd;
}

}  // namespace

HANDLE CreateFileW(const wchar_t* path, DWORD access, DWORD share, void* security, DWORD disposition, DWORD flags,
                   HANDLE templateFile) {
    if (path == nullptr) return kInvalidHandle;
    const HANDLE handle = ::CreateFileW(path, access, share, static_cast<LPSECURITY_ATTRIBUTES>(security), disposition,
                                        flags, templateFile);
    if (handle == kInvalidHandle) return kInvalidHandle;
    try {
        std::lock_guard<std::shared_mutex> lock(Handles().mutex);
        Handles().handles.insert(handle);
        return handle;
    } catch (const std::exception&) {
        ::CloseHandle(handle);
        return kInvalidHandle;
    }
}

BOOL CloseHandle(HANDLE handle) {
    std::lock_guard<std::shared_mutex> lock(Handles().mutex);
    return Handles().handles.erase(handle) != 0 && ::CloseHandle(handle) ? 1 : 0;
}

BOOL GetDiskFreeSpaceExW(const wchar_t* path, DiskBytes* freeForCaller, DiskBytes* total, DiskBytes* totalFree) {
    if (path == nullptr || path[0] == L'\0') return 0;
    ULARGE_INTEGER forCaller{}, all{}, free{};
    if (!::GetDiskFreeSpaceExW(path, &forCaller, &all, &free)) return 0;
    if (freeForCaller != nullptr) *freeForCaller = forCaller.QuadPart;
    if (total != nullptr) *total = all.QuadPart;
    if (totalFree != nullptr) *totalFree = free.QuadPart;
    return 1;
}

/// The system's own copy may leave half a target behind: it goes to a neighbour first, which then takes the name.
BOOL CopyFileW(const wchar_t* from, const wchar_t* to, BOOL failIfExists) {
    if (from == nullptr || to == nullptr) return 0;
    try {
        const std::wstring neighbour = std::wstring(to) + L".zelkor-copy-" + std::to_wstring(::GetCurrentThreadId());
        const ::DWORD replace = failIfExists ? 0 : MOVEFILE_REPLACE_EXISTING;
        if (::CopyFileW(from, neighbour.c_str(), TRUE) &&
            ::MoveFileExW(neighbour.c_str(), to, replace | MOVEFILE_WRITE_THROUGH)) {
            return 1;
        }
        ::DeleteFileW(neighbour.c_str());
        return 0;
    } catch (const std::exception&) {
        return 0;
    }
}

std::int64_t ReadAt(HANDLE handle, std::int64_t offset, void* data, std::size_t length) {
    if (offset < 0 || !IsKnown(handle)) return -1;
    char* const target = static_cast<char*>(data);
    std::int64_t done = 0;
    const auto wanted = static_cast<std::int64_t>(length);
    while (done < wanted) {
        ::DWORD moved = 0;
        const auto piece = static_cast<::DWORD>(std::min(wanted - done, kLargestPiece));
        const auto read = [&](OVERLAPPED* place) { return ::ReadFile(handle, target + done, piece, nullptr, place); };
        if (!RunPiece(handle, offset + done, moved, read)) return -1;
        if (moved == 0) break;
        done += moved;
    }
    return done;
}

bool WriteAt(HANDLE handle, std::int64_t offset, const void* data, std::size_t length) {
    if (offset < 0 || !IsKnown(handle)) return false;
    const char* const source = static_cast<const char*>(data);
    std::int64_t done = 0;
    const auto wanted = static_cast<std::int64_t>(length);
    while (done < wanted) {
        ::DWORD moved = 0;
        const auto piece = static_cast<::DWORD>(std::min(wanted - done, kLargestPiece));
        const auto write = [&](OVERLAPPED* place) { return ::WriteFile(handle, source + done, piece, nullptr, place); };
        if (!RunPiece(handle, offset + done, moved, write) || moved == 0) return false;
        done += moved;
    }
    return true;
}

std::int64_t SizeOf(HANDLE handle) {
    LARGE_INTEGER size{};
    return IsKnown(handle) && ::GetFileSizeEx(handle, &size) ? size.QuadPart : -1;
}

bool SyncToDisk(HANDLE handle) { return IsKnown(handle) && ::FlushFileBuffers(handle) != 0; }

std::size_t OpenHandleCount() {
    std::shared_lock<std::shared_mutex> lock(Handles().mutex);
    return Handles().handles.size();
}

}  // namespace Drive::Platform
