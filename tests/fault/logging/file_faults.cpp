#include "tests/fault/logging/file_faults.h"

#include <stdio_ext.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Drive::Logging::Trial {

namespace {

struct State {
    std::mutex mutex;
    // Guarded by mutex.
    Kind kind = Kind::Error;
    int picked = 0;
    bool lasting = false;
    int calls = 0;
    std::string struck;
    std::thread::id watched;
    std::string watchedCalls;
    // Read without it: one number.
    std::atomic<int> secondsAhead{0};
};

State& Now() {
    static State state;
    return state;
}

bool Strikes(const char* call, bool writes = false) {
    State& state = Now();
    const std::lock_guard guard(state.mutex);
    if (std::this_thread::get_id() == state.watched) state.watchedCalls += std::string(call) + ' ';
    if (state.kind == Kind::HalfWritten && !writes) return false;
    ++state.calls;
    if (state.picked == 0 || state.calls < state.picked || (state.calls > state.picked && !state.lasting)) return false;
    state.struck += std::string(call) + ' ';
    errno = ENOSPC;
    return true;
}

bool WritesHalf() {
    const std::lock_guard guard(Now().mutex);
    return Now().kind == Kind::HalfWritten;
}

}  // namespace

void BeginFaults(Kind kind, int nth, bool lasting) {
    State& state = Now();
    const std::lock_guard guard(state.mutex);
    state.kind = kind;
    state.picked = nth;
    state.lasting = lasting;
    state.calls = 0;
    state.struck.clear();
}

std::string EndFaults() {
    const std::lock_guard guard(Now().mutex);
    Now().picked = 0;
    return Now().struck;
}

void Watch(std::thread::id thread) {
    const std::lock_guard guard(Now().mutex);
    Now().watched = thread;
    Now().watchedCalls.clear();
}

std::string EndWatch() {
    const std::lock_guard guard(Now().mutex);
    Now().watched = {};
    return Now().watchedCalls;
}

void StepClock(int seconds) { Now().secondsAhead += seconds; }

}  // namespace Drive::Logging::Trial

using namespace Drive::Logging::Trial;
using SteadyTime = std::chrono::steady_clock::time_point;

extern "C" {

int __real_open(const char* path, int flags, ...);
FILE* __real_fdopen(int file, const char* mode);
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, FILE* file);
int __real_fflush(FILE* file);
int __real_fclose(FILE* file);
int __real_fstat64(int file, struct stat64* status);
int __real_mkdir(const char* path, mode_t mode);
int __real_remove(const char* path);
int __real_rename(const char* from, const char* to);
int __real_stat(const char* path, struct stat* status);
SteadyTime __real__ZNSt6chrono3_V212steady_clock3nowEv();

int __wrap_open(const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = va_arg(list, mode_t);
    va_end(list);
    return Strikes("open") ? -1 : __real_open(path, flags, mode);
}

FILE* __wrap_fdopen(int file, const char* mode) { return Strikes("fdopen") ? nullptr : __real_fdopen(file, mode); }

std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, FILE* file) {
    if (!Strikes("fwrite", true)) return __real_fwrite(data, size, count, file);
    return WritesHalf() ? __real_fwrite(data, size, count / 2, file) : 0;
}

/// What a full disk does not take is lost with the buffer.
int __wrap_fflush(FILE* file) {
    if (!Strikes("fflush")) return __real_fflush(file);
    __fpurge(file);
    return EOF;
}

int __wrap_fclose(FILE* file) {
    const bool strikes = Strikes("fclose");
    if (strikes) __fpurge(file);
    const int result = __real_fclose(file);
    return strikes ? EOF : result;
}

int __wrap_fstat64(int file, struct stat64* status) { return Strikes("fstat") ? -1 : __real_fstat64(file, status); }
int __wrap_mkdir(const char* path, mode_t mode) { return Strikes("mkdir") ? -1 : __real_mkdir(path, mode); }
int __wrap_remove(const char* path) { return Strikes("remove") ? -1 : __real_remove(path); }
int __wrap_rename(const char* from, const char* to) { return Strikes("rename") ? -1 : __real_rename(from, to); }
int __wrap_nanosleep(const struct timespec*, struct timespec*) { return 0; }
int __wrap_stat(const char* path, struct stat* status) { return Strikes("stat") ? -1 : __real_stat(path, status); }

SteadyTime __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    return __real__ZNSt6chrono3_V212steady_clock3nowEv() + std::chrono::seconds(Now().secondsAhead);
}

}  // extern "C"
