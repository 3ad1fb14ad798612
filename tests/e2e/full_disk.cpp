// Preloaded into a host: the disk is full from a chosen byte of the file whose name is given, and has room again some
// seconds after the first write that it refused. Tells the first refusal by making a file.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<Clock::rep> refusedFirst{0};

bool IsWatched(int descriptor) {
    const char* name = getenv("FULL_DISK_OF");
    if (name == nullptr) return false;
    char target[4096];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), target, sizeof target - 1);
    if (length <= 0) return false;
    target[length] = 0;
    const std::size_t wanted = strlen(name);
    return static_cast<std::size_t>(length) >= wanted && strcmp(target + length - wanted, name) == 0;
}

double Setting(const char* name) {
    const char* text = getenv(name);
    return text == nullptr ? 0 : atof(text);
}

bool Refuses(int descriptor, off_t end) {
    if (!IsWatched(descriptor) || static_cast<double>(end) <= Setting("FULL_DISK_FROM")) return false;
    const Clock::rep now = Clock::now().time_since_epoch().count();
    Clock::rep never = 0;
    if (refusedFirst.compare_exchange_strong(never, now)) {
        const int told = open(getenv("FULL_DISK_TOLD"), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (told >= 0) close(told);
    }
    const auto since = Clock::duration(now - refusedFirst.load());
    return std::chrono::duration<double>(since).count() < Setting("FULL_DISK_SECONDS");
}

ssize_t Write(const char* name, int descriptor, const void* data, size_t length, off_t offset) {
    if (Refuses(descriptor, offset + static_cast<off_t>(length))) {
        errno = ENOSPC;
        return -1;
    }
    using Function = ssize_t (*)(int, const void*, size_t, off_t);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name))(descriptor, data, length, offset);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t pwrite(int descriptor, const void* data, size_t length,
                                                                 off_t offset) {
    return Write("pwrite", descriptor, data, length, offset);
}

extern "C" __attribute__((visibility("default"))) ssize_t pwrite64(int descriptor, const void* data, size_t length,
                                                                   off_t offset) {
    return Write("pwrite64", descriptor, data, length, offset);
}
