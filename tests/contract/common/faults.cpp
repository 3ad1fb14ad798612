#include "tests/contract/common/faults.h"

#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <ctime>

#include "interfaces/platform/file_calls.h"

using Drive::Common::Trial::CurrentFaults;
using Drive::Common::Trial::Script;

namespace {

int Next(Script& script) {
    if (script.empty()) {
        return 0;
    }
    const int next = script.front();
    script.pop_front();
    return next;
}

/// True when the call is to fail; `length` is cut when it is to move less.
bool Fails(Script& script, std::size_t& length) {
    const int next = Next(script);
    if (next > 0) {
        errno = next;
        return true;
    }
    if (next < 0) {
        length = std::min(length, static_cast<std::size_t>(-next));
    }
    return false;
}

}  // namespace

extern "C" {

ssize_t __real_read(int file, void* data, std::size_t length);
ssize_t __real_pread(int file, void* data, std::size_t length, off_t offset);
ssize_t __real_pwrite(int file, const void* data, std::size_t length, off_t offset);
int __real_fdatasync(int file);
int __real_fsync(int file);
int __real_mkdirat(int folder, const char* name, mode_t mode);
int __real_fstatfs(int file, struct statfs* volume);
int __real_clock_gettime(clockid_t clock, struct timespec* time);
ssize_t __real_getrandom(void* buffer, std::size_t length, unsigned flags);
long __real_syscall(long number, ...);

ssize_t __wrap_getrandom(void* buffer, std::size_t length, unsigned flags) {
    return Fails(CurrentFaults().getrandom, length) ? -1 : __real_getrandom(buffer, length, flags);
}

ssize_t __wrap_read(int file, void* data, std::size_t length) {
    if (CurrentFaults().beforeRead) {
        CurrentFaults().beforeRead();
    }
    return Fails(CurrentFaults().read, length) ? -1 : __real_read(file, data, length);
}

ssize_t __wrap_pread(int file, void* data, std::size_t length, off_t offset) {
    CurrentFaults().journal.push_back("pread");
    if (CurrentFaults().beforeRead) {
        CurrentFaults().beforeRead();
    }
    return Fails(CurrentFaults().pread, length) ? -1 : __real_pread(file, data, length, offset);
}

ssize_t __wrap_pwrite(int file, const void* data, std::size_t length, off_t offset) {
    CurrentFaults().journal.push_back("pwrite");
    return Fails(CurrentFaults().pwrite, length) ? -1 : __real_pwrite(file, data, length, offset);
}

int __wrap_fdatasync(int file) {
    CurrentFaults().journal.push_back("fdatasync");
    std::size_t none = 0;
    return Fails(CurrentFaults().fdatasync, none) ? -1 : __real_fdatasync(file);
}

int __wrap_fsync(int file) {
    CurrentFaults().journal.push_back("fsync");
    std::size_t none = 0;
    return Fails(CurrentFaults().fsync, none) ? -1 : __real_fsync(file);
}

int __wrap_mkdirat(int folder, const char* name, mode_t mode) {
    CurrentFaults().journal.push_back(std::string("mkdirat ") + name);
    return __real_mkdirat(folder, name, mode);
}

int __wrap_fstatfs(int file, struct statfs* volume) {
    const int result = __real_fstatfs(file, volume);
    if (CurrentFaults().fileSystem != 0) {
        volume->f_type = CurrentFaults().fileSystem;
    }
    return result;
}

int __wrap_clock_gettime(clockid_t clock, struct timespec* time) {
    const int result = __real_clock_gettime(clock, time);
    time->tv_sec += clock == CLOCK_REALTIME ? CurrentFaults().wallClockAhead : 0;
    return result;
}

long __wrap_syscall(long number, ...) {
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    if (number == SYS_openat2 && CurrentFaults().openat2Error != 0) {
        errno = CurrentFaults().openat2Error;
        return -1;
    }
    return __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

}  // extern "C"

namespace Drive {

namespace Platform {

bool WriteAt(HANDLE, std::int64_t, const void*, std::size_t length) {
    CurrentFaults().journal.push_back("WriteAt");
    return !Fails(CurrentFaults().writeAt, length);
}

}  // namespace Platform

namespace Common::Trial {

std::size_t Faults::Count(const std::string& call) const {
    return static_cast<std::size_t>(std::count(journal.begin(), journal.end(), call));
}

Faults& CurrentFaults() {
    static Faults faults;
    return faults;
}

}  // namespace Common::Trial

}  // namespace Drive
