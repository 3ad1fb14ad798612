#include "tests/fault/common/call_faults.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <set>

namespace Drive::Common::Trial {

namespace {

struct State {
    Fault fault;
    int first = 0;
    int second = 0;
    int calls = 0;
    std::string struck;
    std::set<std::string> bytes;  ///< files that hold bytes which no sync has brought to the disk
    std::set<std::string> names;  ///< files and folders whose entry in their folder is not on the disk
};

State& Now() {
    static State state;
    return state;
}

std::string PathOf(int descriptor) {
    char path[PATH_MAX];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
    return std::string(path, length > 0 ? static_cast<std::size_t>(length) : 0);
}

bool IsPicked() {
    State& state = Now();
    ++state.calls;
    if (state.first == 0 || state.calls < state.first) return false;
    return state.calls == state.first || state.fault.lasting || state.calls == state.first + state.second;
}

bool Strikes(const char* call, Fault::Kind kind) {
    if (Now().fault.kind != kind || !IsPicked()) return false;
    Now().struck += std::string(call) + ' ';
    errno = Now().fault.error;
    return true;
}

bool Fails(const char* call) { return Strikes(call, Fault::Kind::Error); }

void NameWasMade(const std::string& path) { Now().names.insert(path); }

/// A folder that is synced brings the entries of all that stands in it.
void FolderWasSynced(const std::string& folder) {
    std::erase_if(Now().names, [&](const std::string& path) {
        return path.size() > folder.size() + 1 && path.starts_with(folder + '/') &&
               path.find('/', folder.size() + 1) == std::string::npos;
    });
}

}  // namespace

void BeginFaults(const Fault& fault, int first, int second) {
    State& state = Now();
    state.fault = fault;
    state.first = first;
    state.second = second;
    state.calls = 0;
    state.struck.clear();
}

std::string EndFaults() {
    Now().first = 0;
    return Now().struck;
}

std::size_t CallCount() { return static_cast<std::size_t>(Now().calls); }

std::string NotOnDisk() {
    std::string list;
    for (const std::string& path : Now().bytes) list += "bytes of " + path + "; ";
    for (const std::string& path : Now().names) list += "name of " + path + "; ";
    return list;
}

void ForgetDisk() {
    Now().bytes.clear();
    Now().names.clear();
}

}  // namespace Drive::Common::Trial

using namespace Drive::Common::Trial;

// Syncs are kept in the books alone: the power does not really go here, and thousands of them would take minutes.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_openat(int folder, const char* path, int flags, ...);
int __real_close(int file);
int __real_fstat(int file, struct stat* status);
ssize_t __real_pwrite(int file, const void* data, std::size_t length, off_t offset);
int __real_mkdirat(int folder, const char* name, mode_t mode);
int __real_unlinkat(int folder, const char* name, int flags);
long __real_syscall(long number, ...);

int __wrap_open(const char* path, int flags, ...) { return Fails("open") ? -1 : __real_open(path, flags); }

int __wrap_openat(int folder, const char* path, int flags, ...) {
    va_list list;
    va_start(list, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
    va_end(list);
    if (Fails("openat")) return -1;
    const int file = __real_openat(folder, path, flags, mode);
    if (file >= 0 && (flags & O_CREAT) != 0) NameWasMade(PathOf(file));
    return file;
}

int __wrap_close(int file) {
    const bool fails = Strikes("close", Fault::Kind::LostClose);
    const int error = errno;
    const int result = __real_close(file);
    errno = error;
    return fails ? -1 : result;
}

int __wrap_fstat(int file, struct stat* status) { return Fails("fstat") ? -1 : __real_fstat(file, status); }

ssize_t __wrap_pwrite(int file, const void* data, std::size_t length, off_t offset) {
    if (Fails("pwrite")) return -1;
    const bool isShort = length > 1 && Strikes("pwrite", Fault::Kind::ShortWrite);
    const ssize_t written = __real_pwrite(file, data, isShort ? length / 2 : length, offset);
    if (written > 0) Now().bytes.insert(PathOf(file));
    return written;
}

int __wrap_fdatasync(int file) {
    if (Fails("fdatasync")) return -1;
    Now().bytes.erase(PathOf(file));
    return 0;
}

int __wrap_fsync(int file) {
    if (Fails("fsync")) return -1;
    Now().bytes.erase(PathOf(file));
    FolderWasSynced(PathOf(file));
    return 0;
}

int __wrap_mkdirat(int folder, const char* name, mode_t mode) {
    if (Fails("mkdirat")) return -1;
    const int result = __real_mkdirat(folder, name, mode);
    if (result == 0) NameWasMade(PathOf(folder) + '/' + name);
    return result;
}

int __wrap_unlinkat(int folder, const char* name, int flags) {
    const int result = __real_unlinkat(folder, name, flags);
    if (result == 0) Now().names.erase(PathOf(folder) + '/' + name);
    return result;
}

long __wrap_syscall(long number, ...) {
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) argument = va_arg(list, long);
    va_end(list);
    if (Fails("openat2")) return -1;
    const long file =
        __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
    if (number == SYS_openat2 && file >= 0) {
        const auto* how = reinterpret_cast<const open_how*>(arguments[2]);
        if ((how->flags & O_CREAT) != 0) NameWasMade(PathOf(static_cast<int>(file)));
    }
    return file;
}

}  // extern "C"
