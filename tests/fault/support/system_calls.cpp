#include "tests/fault/support/system_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <mutex>

namespace Drive::Testing {

namespace {

struct State {
    std::mutex mutex;
    // Guarded by mutex.
    std::string folder;
    CallFault fault;
    int picked = 0;
    CallsMet met;
};

/// Read without the mutex by calls of any thread, also before anything of this program was made.
constinit std::atomic<bool> g_watching{false};

State& Now() {
    static auto* const state = new State;
    return *state;
}

/// The C library's way into the kernel; ours below stands in front of it.
template <typename... Arguments>
long Kernel(long number, Arguments... arguments) {
    using Call = long (*)(long, ...);
    static constinit std::atomic<Call> next{nullptr};
    if (next == nullptr) next = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "syscall"));
    return next.load()(number, arguments...);
}

std::string PathOf(int descriptor) {
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    char path[PATH_MAX];
    const long length = Kernel(SYS_readlinkat, AT_FDCWD, link, path, sizeof path);
    return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

std::string PathAt(int folder, const char* path) {
    if (path == nullptr) return {};
    if (path[0] == '/' || folder == AT_FDCWD) return path;
    return PathOf(folder) + '/' + path;
}

bool IsInterruptible(const std::string& call) {
    static const std::set<std::string> calls{"open",  "openat", "openat2", "fopen",     "read",  "pread",
                                             "write", "pwrite", "writev",  "ftruncate", "fsync", "fdatasync"};
    return calls.contains(call);
}

bool Concerns(const State& state, CallFault::Kind kind, const char* call) {
    if (state.fault.spared.contains(call)) return false;
    if (state.fault.kind != CallFault::Kind::Interrupt) return state.fault.kind == kind;
    return kind == CallFault::Kind::Error && IsInterruptible(call);
}

bool Picks(State& state) {
    const int number = ++state.met.calls;
    return state.picked != 0 && (number == state.picked || (number > state.picked && state.fault.lasting));
}

/// Leaves the error in `errno` when the call is to go wrong in that way, and keeps `errno` when it is not.
bool Strikes(const char* call, const std::string& path, CallFault::Kind kind = CallFault::Kind::Error) {
    State& state = Now();
    const std::lock_guard guard(state.mutex);
    if (!g_watching || !path.starts_with(state.folder) || !Concerns(state, kind, call) || !Picks(state)) return false;
    state.met.struck += std::string(call) + ' ';
    errno = state.fault.kind == CallFault::Kind::Interrupt ? EINTR : state.fault.error;
    return true;
}

bool Fails(const char* call, int folder, const char* path) { return g_watching && Strikes(call, PathAt(folder, path)); }

bool Fails(const char* call, int descriptor) { return g_watching && Strikes(call, PathOf(descriptor)); }

std::size_t Part(const char* call, int descriptor, std::size_t length) {
    const bool isShort = g_watching && length > 1 && Strikes(call, PathOf(descriptor), CallFault::Kind::ShortMove);
    return isShort ? length / 2 : length;
}

template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

void BeginCallFaults(const std::string& folder, const CallFault& fault, int nth) {
    State& state = Now();
    const std::lock_guard guard(state.mutex);
    state.folder = folder;
    state.fault = fault;
    state.picked = nth;
    state.met = {};
    g_watching = true;
}

CallsMet EndCallFaults() {
    State& state = Now();
    const std::lock_guard guard(state.mutex);
    g_watching = false;
    return state.met;
}

std::size_t CountOpenDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace Drive::Testing

using namespace Drive::Testing;

// In place of those of the C library, for this program and every library that it loads; the kernel is asked directly.
// The names are given to the linker alone, since the headers declare these functions already.
#define ZELKOR_CALL(result, name, ...)                                                                    \
    extern "C" __attribute__((visibility("default"), used)) result Faulty_##name(__VA_ARGS__) asm(#name); \
    extern "C" result Faulty_##name(__VA_ARGS__)

namespace {

int OpenAt(const char* call, int folder, const char* path, int flags, mode_t mode) {
    if (Fails(call, folder, path)) return -1;
    return static_cast<int>(Kernel(SYS_openat, folder, path, flags, mode));
}

mode_t ModeOf(int flags, va_list list) { return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0; }

int StatAt(const char* call, int folder, const char* path, struct stat* status, int flags) {
    if (Fails(call, folder, path)) return -1;
    return static_cast<int>(Kernel(SYS_newfstatat, folder, path, status, flags));
}

int StatOpen(int file, struct stat* status) {
    if (Fails("fstat", file)) return -1;
    return static_cast<int>(Kernel(SYS_newfstatat, file, "", status, AT_EMPTY_PATH));
}

ssize_t ReadAt(int file, void* data, std::size_t length, off_t offset) {
    if (Fails("pread", file)) return -1;
    return Kernel(SYS_pread64, file, data, Part("pread", file, length), offset);
}

ssize_t WriteAt(int file, const void* data, std::size_t length, off_t offset) {
    if (Fails("pwrite", file)) return -1;
    return Kernel(SYS_pwrite64, file, data, Part("pwrite", file, length), offset);
}

int Truncate(int file, off_t size) {
    if (Fails("ftruncate", file)) return -1;
    return static_cast<int>(Kernel(SYS_ftruncate, file, size));
}

FILE* OpenBuffered(const char* path, const char* mode) {
    static auto* const next = Next<FILE*(const char*, const char*)>("fopen64");
    return Fails("fopen", AT_FDCWD, path) ? nullptr : next(path, mode);
}

}  // namespace

ZELKOR_CALL(int, open, const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    return OpenAt("open", AT_FDCWD, path, flags, mode);
}

ZELKOR_CALL(int, open64, const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    return OpenAt("open", AT_FDCWD, path, flags, mode);
}

ZELKOR_CALL(int, openat, int folder, const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = ModeOf(flags, list);
    va_end(list);
    return OpenAt("openat", folder, path, flags, mode);
}

ZELKOR_CALL(long, syscall, long number, ...) {
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_openat2) {
        const auto* path = reinterpret_cast<const char*>(arguments[1]);
        if (Fails("openat2", static_cast<int>(arguments[0]), path)) return -1;
    }
    return Kernel(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

ZELKOR_CALL(FILE*, fopen, const char* path, const char* mode) { return OpenBuffered(path, mode); }
ZELKOR_CALL(FILE*, fopen64, const char* path, const char* mode) { return OpenBuffered(path, mode); }

ZELKOR_CALL(int, close, int file) {
    const bool fails = g_watching && Strikes("close", PathOf(file), CallFault::Kind::LostClose);
    const int error = errno;
    const auto result = static_cast<int>(Kernel(SYS_close, file));
    if (!fails) return result;
    errno = error;
    return -1;
}

ZELKOR_CALL(ssize_t, read, int file, void* data, std::size_t length) {
    if (Fails("read", file)) return -1;
    return Kernel(SYS_read, file, data, Part("read", file, length));
}

ZELKOR_CALL(ssize_t, write, int file, const void* data, std::size_t length) {
    if (Fails("write", file)) return -1;
    return Kernel(SYS_write, file, data, Part("write", file, length));
}

ZELKOR_CALL(ssize_t, writev, int file, const struct iovec* parts, int count) {
    if (Fails("writev", file)) return -1;
    if (count > 0 && Part("writev", file, parts->iov_len) != parts->iov_len) {
        return Kernel(SYS_write, file, parts->iov_base, parts->iov_len / 2);
    }
    return Kernel(SYS_writev, file, parts, count);
}

ZELKOR_CALL(ssize_t, pread, int file, void* data, std::size_t length, off_t offset) {
    return ReadAt(file, data, length, offset);
}
ZELKOR_CALL(ssize_t, pread64, int file, void* data, std::size_t length, off_t offset) {
    return ReadAt(file, data, length, offset);
}
ZELKOR_CALL(ssize_t, pwrite, int file, const void* data, std::size_t length, off_t offset) {
    return WriteAt(file, data, length, offset);
}
ZELKOR_CALL(ssize_t, pwrite64, int file, const void* data, std::size_t length, off_t offset) {
    return WriteAt(file, data, length, offset);
}

ZELKOR_CALL(int, stat, const char* path, struct stat* status) { return StatAt("stat", AT_FDCWD, path, status, 0); }
ZELKOR_CALL(int, stat64, const char* path, struct stat* status) { return StatAt("stat", AT_FDCWD, path, status, 0); }
ZELKOR_CALL(int, lstat, const char* path, struct stat* status) {
    return StatAt("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
ZELKOR_CALL(int, lstat64, const char* path, struct stat* status) {
    return StatAt("lstat", AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}
ZELKOR_CALL(int, fstatat, int folder, const char* path, struct stat* status, int flags) {
    return StatAt("fstatat", folder, path, status, flags);
}
ZELKOR_CALL(int, fstat, int file, struct stat* status) { return StatOpen(file, status); }
ZELKOR_CALL(int, fstat64, int file, struct stat* status) { return StatOpen(file, status); }

ZELKOR_CALL(int, access, const char* path, int mode) {
    if (Fails("access", AT_FDCWD, path)) return -1;
    return static_cast<int>(Kernel(SYS_faccessat, AT_FDCWD, path, mode));
}

ZELKOR_CALL(int, statvfs, const char* path, struct statvfs* volume) {
    static auto* const next = Next<int(const char*, struct statvfs*)>("statvfs");
    return Fails("statvfs", AT_FDCWD, path) ? -1 : next(path, volume);
}

/// Only locks can fail: the flags of a descriptor are not on the disk.
static int Control(int file, int command, void* argument) {
    const bool locks = command == F_SETLK || command == F_SETLKW || command == F_GETLK || command == F_OFD_SETLK;
    if (locks && Fails("fcntl", file)) return -1;
    return static_cast<int>(Kernel(SYS_fcntl, file, command, argument));
}

ZELKOR_CALL(int, fcntl, int file, int command, ...) {
    va_list list;
    va_start(list, command);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return Control(file, command, argument);
}

ZELKOR_CALL(int, fcntl64, int file, int command, ...) {
    va_list list;
    va_start(list, command);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return Control(file, command, argument);
}

ZELKOR_CALL(int, flock, int file, int operation) {
    if (Fails("flock", file)) return -1;
    return static_cast<int>(Kernel(SYS_flock, file, operation));
}

ZELKOR_CALL(int, ftruncate, int file, off_t size) { return Truncate(file, size); }
ZELKOR_CALL(int, ftruncate64, int file, off_t size) { return Truncate(file, size); }

// The power does not go here: syncs that succeed are left out, since thousands of them would take minutes.
ZELKOR_CALL(int, fsync, int file) { return Fails("fsync", file) ? -1 : 0; }
ZELKOR_CALL(int, fdatasync, int file) { return Fails("fdatasync", file) ? -1 : 0; }
ZELKOR_CALL(int, syncfs, int file) { return Fails("syncfs", file) ? -1 : 0; }

ZELKOR_CALL(int, rename, const char* from, const char* to) {
    if (Fails("rename", AT_FDCWD, from)) return -1;
    return static_cast<int>(Kernel(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

ZELKOR_CALL(int, renameat, int folder, const char* from, int into, const char* to) {
    if (Fails("renameat", folder, from)) return -1;
    return static_cast<int>(Kernel(SYS_renameat2, folder, from, into, to, 0));
}

ZELKOR_CALL(int, unlink, const char* path) {
    if (Fails("unlink", AT_FDCWD, path)) return -1;
    return static_cast<int>(Kernel(SYS_unlinkat, AT_FDCWD, path, 0));
}

ZELKOR_CALL(int, unlinkat, int folder, const char* path, int flags) {
    if (Fails("unlinkat", folder, path)) return -1;
    return static_cast<int>(Kernel(SYS_unlinkat, folder, path, flags));
}

ZELKOR_CALL(int, rmdir, const char* path) {
    if (Fails("rmdir", AT_FDCWD, path)) return -1;
    return static_cast<int>(Kernel(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}

ZELKOR_CALL(int, remove, const char* path) {
    if (Fails("remove", AT_FDCWD, path)) return -1;
    const auto removed = static_cast<int>(Kernel(SYS_unlinkat, AT_FDCWD, path, 0));
    if (removed == 0 || errno != EISDIR) return removed;
    return static_cast<int>(Kernel(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR));
}

ZELKOR_CALL(int, mkdir, const char* path, mode_t mode) {
    if (Fails("mkdir", AT_FDCWD, path)) return -1;
    return static_cast<int>(Kernel(SYS_mkdirat, AT_FDCWD, path, mode));
}

ZELKOR_CALL(int, mkdirat, int folder, const char* path, mode_t mode) {
    if (Fails("mkdirat", folder, path)) return -1;
    return static_cast<int>(Kernel(SYS_mkdirat, folder, path, mode));
}

ZELKOR_CALL(int, fchmod, int file, mode_t mode) {
    if (Fails("fchmod", file)) return -1;
    return static_cast<int>(Kernel(SYS_fchmod, file, mode));
}

ZELKOR_CALL(int, fchmodat, int folder, const char* path, mode_t mode, int) {
    if (Fails("fchmodat", folder, path)) return -1;
    return static_cast<int>(Kernel(SYS_fchmodat, folder, path, mode));
}

ZELKOR_CALL(DIR*, opendir, const char* path) {
    static auto* const next = Next<DIR*(const char*)>("opendir");
    return Fails("opendir", AT_FDCWD, path) ? nullptr : next(path);
}

ZELKOR_CALL(struct dirent*, readdir, DIR* folder) {
    static auto* const next = Next<struct dirent*(DIR*)>("readdir");
    return Fails("readdir", ::dirfd(folder)) ? nullptr : next(folder);
}
