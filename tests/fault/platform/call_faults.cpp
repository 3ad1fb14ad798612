#include "tests/fault/platform/call_faults.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <utility>

namespace Drive::Platform::Trial {

namespace {

struct State {
    int which = 0;
    std::string name;
    int error = 0;
    bool singleBytes = false;
    std::vector<std::string> calls;
};

State& Now() {
    static State state;
    return state;
}

bool Fails(const char* name) {
    State& state = Now();
    state.calls.emplace_back(name);
    if (static_cast<int>(state.calls.size()) != state.which && state.name != name) return false;
    errno = state.error;
    return true;
}

std::size_t Most(std::size_t length) { return Now().singleBytes ? std::min<std::size_t>(length, 1) : length; }

}  // namespace

void FailCall(int which, int error) {
    Now() = State{};
    Now().which = which;
    Now().error = error;
}

void FailEvery(const std::string& name, int error) {
    Now() = State{};
    Now().name = name;
    Now().error = error;
}

void MoveSingleBytes() {
    Now() = State{};
    Now().singleBytes = true;
}

std::vector<std::string> EndFaults() { return std::exchange(Now(), State{}).calls; }

}  // namespace Drive::Platform::Trial

using Drive::Platform::Trial::Fails;
using Drive::Platform::Trial::Most;

extern "C" {

int __real_open(const char* path, int flags, ...);
ssize_t __real_pread(int file, void* data, std::size_t length, off_t offset);
ssize_t __real_pwrite(int file, const void* data, std::size_t length, off_t offset);
int __real_fstat(int file, struct stat* status);
int __real_fstatat(int folder, const char* name, struct stat* status, int flags);
int __real_stat(const char* path, struct stat* status);
int __real_lstat(const char* path, struct stat* status);
int __real_statvfs(const char* path, struct statvfs* volume);
int __real_mkostemp(char* pattern, int flags);
int __real_fchmod(int file, mode_t mode);
int __real_rename(const char* from, const char* to);
int __real_renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags);
int __real_link(const char* from, const char* to);

int __wrap_open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    return Fails("open") ? -1 : __real_open(path, flags, mode);
}

ssize_t __wrap_pread(int file, void* data, std::size_t length, off_t offset) {
    return Fails("pread") ? -1 : __real_pread(file, data, Most(length), offset);
}

ssize_t __wrap_pwrite(int file, const void* data, std::size_t length, off_t offset) {
    return Fails("pwrite") ? -1 : __real_pwrite(file, data, Most(length), offset);
}

int __wrap_fstat(int file, struct stat* status) { return Fails("fstat") ? -1 : __real_fstat(file, status); }
int __wrap_fstatat(int folder, const char* name, struct stat* status, int flags) {
    return Fails("fstatat") ? -1 : __real_fstatat(folder, name, status, flags);
}
int __wrap_stat(const char* path, struct stat* status) { return Fails("stat") ? -1 : __real_stat(path, status); }
int __wrap_lstat(const char* path, struct stat* status) { return Fails("lstat") ? -1 : __real_lstat(path, status); }

int __wrap_statvfs(const char* path, struct statvfs* volume) {
    return Fails("statvfs") ? -1 : __real_statvfs(path, volume);
}

int __wrap_mkostemp(char* pattern, int flags) { return Fails("mkostemp") ? -1 : __real_mkostemp(pattern, flags); }
int __wrap_fchmod(int file, mode_t mode) { return Fails("fchmod") ? -1 : __real_fchmod(file, mode); }
int __wrap_rename(const char* from, const char* to) { return Fails("rename") ? -1 : __real_rename(from, to); }
int __wrap_link(const char* from, const char* to) { return Fails("link") ? -1 : __real_link(from, to); }

int __wrap_renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
    return Fails("renameat2") ? -1 : __real_renameat2(fromFolder, from, toFolder, to, flags);
}

// The power does not go here: syncs are only counted.
int __wrap_fsync(int) { return Fails("fsync") ? -1 : 0; }
int __wrap_syncfs(int) { return Fails("syncfs") ? -1 : 0; }

}  // extern "C"
