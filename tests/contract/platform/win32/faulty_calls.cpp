#include "tests/contract/platform/win32/faulty_calls.h"

#include <windows.h>

#include <algorithm>

namespace Drive::Testing {

FaultyCalls& Faults() {
    static FaultyCalls faults;
    return faults;
}

namespace {

BOOL Fail(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

}  // namespace

}  // namespace Drive::Testing

using Drive::Testing::Fail;
using Drive::Testing::Faults;

// The linker puts these in the place of the entries through which the system's libraries are called.
extern "C" {

#define ZELKOR_WATCH(CALL, WATCHER)                   \
    extern decltype(&::CALL) __real___imp_##CALL;     \
    decltype(&::CALL) __wrap___imp_##CALL = &WATCHER; \
    static_assert(true, "")

static HANDLE WINAPI WatchedThread(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE body,
                                   void* argument, DWORD flags, DWORD* id);
ZELKOR_WATCH(CreateThread, WatchedThread);
HANDLE WINAPI WatchedThread(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE body, void* argument,
                            DWORD flags, DWORD* id) {
    if (!Faults().noThreads) return __real___imp_CreateThread(security, stack, body, argument, flags, id);
    Fail(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

static BOOL WINAPI WatchedWorkItem(LPTHREAD_START_ROUTINE body, void* argument, ULONG flags);
ZELKOR_WATCH(QueueUserWorkItem, WatchedWorkItem);
BOOL WINAPI WatchedWorkItem(LPTHREAD_START_ROUTINE body, void* argument, ULONG flags) {
    if (Faults().noThreads) return Fail(ERROR_NOT_ENOUGH_MEMORY);
    return __real___imp_QueueUserWorkItem(body, argument, flags);
}

static HANDLE WINAPI WatchedEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL state, LPCWSTR name);
ZELKOR_WATCH(CreateEventW, WatchedEvent);
HANDLE WINAPI WatchedEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL state, LPCWSTR name) {
    if (!Faults().noEvents) return __real___imp_CreateEventW(security, manual, state, name);
    Fail(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

static BOOL WINAPI WatchedFlush(HANDLE file);
ZELKOR_WATCH(FlushFileBuffers, WatchedFlush);
BOOL WINAPI WatchedFlush(HANDLE file) {
    return Faults().noFlush ? Fail(ERROR_IO_DEVICE) : __real___imp_FlushFileBuffers(file);
}

static BOOL WINAPI WatchedMove(LPCWSTR from, LPCWSTR to, DWORD flags);
ZELKOR_WATCH(MoveFileExW, WatchedMove);
BOOL WINAPI WatchedMove(LPCWSTR from, LPCWSTR to, DWORD flags) {
    return Faults().noMove ? Fail(ERROR_ACCESS_DENIED) : __real___imp_MoveFileExW(from, to, flags);
}

static BOOL WINAPI WatchedReplace(LPCWSTR old, LPCWSTR replacement, LPCWSTR aside, DWORD flags, LPVOID, LPVOID);
ZELKOR_WATCH(ReplaceFileW, WatchedReplace);
BOOL WINAPI WatchedReplace(LPCWSTR old, LPCWSTR replacement, LPCWSTR aside, DWORD flags, LPVOID, LPVOID) {
    if (!Faults().halfReplace) {
        return Faults().noMove ? Fail(ERROR_ACCESS_DENIED)
                               : __real___imp_ReplaceFileW(old, replacement, aside, flags, nullptr, nullptr);
    }
    __real___imp_MoveFileExW(old, aside, 0);
    Faults().noMove = false;
    return Fail(ERROR_UNABLE_TO_MOVE_REPLACEMENT_2);
}

static BOOL WINAPI WatchedRead(HANDLE file, void* data, DWORD length, DWORD* moved, OVERLAPPED* place);
ZELKOR_WATCH(ReadFile, WatchedRead);
BOOL WINAPI WatchedRead(HANDLE file, void* data, DWORD length, DWORD* moved, OVERLAPPED* place) {
    const DWORD most = Faults().shortPieces ? 1 : length;
    return __real___imp_ReadFile(file, data, std::min(length, most), moved, place);
}

static BOOL WINAPI WatchedWrite(HANDLE file, const void* data, DWORD length, DWORD* moved, OVERLAPPED* place);
ZELKOR_WATCH(WriteFile, WatchedWrite);
BOOL WINAPI WatchedWrite(HANDLE file, const void* data, DWORD length, DWORD* moved, OVERLAPPED* place) {
    if (Faults().noWrite) return Fail(ERROR_DISK_FULL);
    const DWORD most = Faults().shortPieces ? 1 : length;
    return __real___imp_WriteFile(file, data, std::min(length, most), moved, place);
}

}  // extern "C"
