// Preloaded into a host: ends the process at once after the Nth sync of the file whose name is given, which is the
// moment between the writing of a block and the writing of its position record.
#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::atomic<int> syncs{0};

bool IsWatched(int descriptor) {
    const char* name = getenv("KILL_AFTER_SYNC_OF");
    if (name == nullptr) return false;
    char target[4096];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), target, sizeof target - 1);
    if (length <= 0) return false;
    target[length] = 0;
    const std::size_t wanted = strlen(name);
    return static_cast<std::size_t>(length) >= wanted && strcmp(target + length - wanted, name) == 0;
}

void CountSync(int descriptor) {
    if (!IsWatched(descriptor)) return;
    const char* nth = getenv("KILL_AFTER_SYNC_NTH");
    if (nth != nullptr && ++syncs == atoi(nth)) kill(getpid(), SIGKILL);
}

int Forward(const char* name, int descriptor) {
    return reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, name))(descriptor);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int fdatasync(int descriptor) {
    const int result = Forward("fdatasync", descriptor);
    CountSync(descriptor);
    return result;
}

extern "C" __attribute__((visibility("default"))) int fsync(int descriptor) {
    const int result = Forward("fsync", descriptor);
    CountSync(descriptor);
    return result;
}
