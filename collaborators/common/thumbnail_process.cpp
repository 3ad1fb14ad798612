#include "collaborators/common/thumbnail_process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "collaborators/common/log_text.h"
#include "collaborators/common/thumbnailer/protocol.h"

namespace Drive::Common {

namespace {

// Processor time is limited in the helper; this is for one that waits, also on a machine that is busy with much else.
constexpr int kMostMilliseconds = 120'000;
constexpr std::size_t kMostReasonBytes = 500;

/// A file in memory whose descriptor is clear of the numbers that the helper finds its files under.
UniqueFd HighDescriptor(const UniqueFd& descriptor) { return UniqueFd(fcntl(descriptor.Get(), F_DUPFD_CLOEXEC, 16)); }

UniqueFd MemoryFile(const char* name) { return HighDescriptor(UniqueFd(memfd_create(name, MFD_CLOEXEC))); }

std::vector<char> ContentOf(const UniqueFd& file) {
    struct stat status {};
    std::vector<char> content;
    if (fstat(file.Get(), &status) == 0) {
        content.resize(static_cast<std::size_t>(status.st_size));
        const ssize_t got = pread(file.Get(), content.data(), content.size(), 0);
        content.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return content;
}

bool IsWholeJpeg(const std::vector<char>& content) {
    return content.size() > 4 && std::memcmp(content.data(), "\xFF\xD8", 2) == 0 &&
           std::memcmp(content.data() + content.size() - 2, "\xFF\xD9", 2) == 0;
}

/// How the helper is started: its three files and nothing else, no signals blocked, a process group of its own, so
/// that what ends the client from its terminal is not taken for a damaged picture.
class SpawnSettings {
public:
    SpawnSettings(int input, int output, int errors) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, errors, 2);
        posix_spawn_file_actions_adddup2(&actions, input, Thumbnailer::kInput);
        posix_spawn_file_actions_adddup2(&actions, output, Thumbnailer::kOutput);
        posix_spawn_file_actions_addclosefrom_np(&actions, Thumbnailer::kOutput + 1);
        posix_spawnattr_init(&attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    /// The process id, or -1 with `errno`.
    pid_t Start(const std::string& program, const char* kind, const std::string& side) {
        std::vector<std::string> environment = {"VIPS_BLOCK_UNTRUSTED=1", "VIPS_CONCURRENCY=1", "LC_ALL=C.UTF-8"};
        for (const char* name : {"LD_LIBRARY_PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"}) {
            if (const char* value = std::getenv(name)) {
                environment.push_back(std::string(name) + "=" + value);
            }
        }
        std::vector<char*> variables;
        for (std::string& variable : environment) {
            variables.push_back(variable.data());
        }
        variables.push_back(nullptr);
        const std::array<char*, 4> arguments = {const_cast<char*>(program.c_str()), const_cast<char*>(kind),
                                                const_cast<char*>(side.c_str()), nullptr};
        pid_t process = -1;
        errno = posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(), variables.data());
        return errno == 0 ? process : -1;
    }

private:
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

/// Waits for the process, ends it when its time has run out, and reaps it. True when its end could be learnt; it cannot
/// when the client has its children reaped elsewhere.
bool AwaitEnd(pid_t process, siginfo_t& end, bool& ranOut) {
    const UniqueFd watch(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd event{watch.Get(), POLLIN, 0};
    // Without a watch the limit on its processor time alone ends a helper that does not come to an end.
    int ready = watch ? -1 : 1;
    while (ready < 0) {
        ready = poll(&event, 1, kMostMilliseconds);
        if (ready < 0 && errno != EINTR) {
            break;
        }
    }
    ranOut = ready == 0;
    if (ranOut) {
        syscall(SYS_pidfd_send_signal, watch.Get(), SIGKILL, nullptr, 0);
    }
    int waited = -1;
    do {
        waited = waitid(P_PID, static_cast<id_t>(process), &end, WEXITED);
    } while (waited != 0 && errno == EINTR);
    return waited == 0;
}

/// Signals that someone sends to end a process, as against those that a damaged picture brings about.
bool WasEndedFromOutside(const siginfo_t& end) {
    return end.si_code == CLD_KILLED &&
           (end.si_status == SIGTERM || end.si_status == SIGINT || end.si_status == SIGHUP);
}

Decoded Judge(pid_t process, const UniqueFd& output, const UniqueFd& errors) {
    siginfo_t end{};
    bool ranOut = false;
    const bool isKnown = AwaitEnd(process, end, ranOut);
    Decoded result;
    result.jpeg = ContentOf(output);
    const bool exited = isKnown && end.si_code == CLD_EXITED;
    if (IsWholeJpeg(result.jpeg) && (!isKnown || (exited && end.si_status == Thumbnailer::kDone))) {
        result.outcome = DecodeOutcome::Decoded;
        return result;
    }
    result.jpeg.clear();
    const bool cannotRead = (exited && end.si_status == Thumbnailer::kCannotRead) || WasEndedFromOutside(end);
    result.outcome = cannotRead ? DecodeOutcome::CannotRead : DecodeOutcome::CannotDecode;
    const std::vector<char> words = ContentOf(errors);
    result.reason.assign(words.data(), std::min(words.size(), kMostReasonBytes));
    result.reason.erase(result.reason.find_last_not_of("\n") + 1);
    if (ranOut) {
        result.reason = "decoding took too long";
    } else if (isKnown && !exited) {
        result.reason += "the helper was ended by signal " + std::to_string(end.si_status);
    }
    return result;
}

/// A machine that has no room for another process now may have it at the next try. A program that cannot be run will
/// not be run then either, and the file shall be backed up all the same.
bool MayPass(int error) { return error == EAGAIN || error == ENOMEM || error == EMFILE || error == ENFILE; }

bool IsProgram(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

}  // namespace

std::string HelperPath() {
    Dl_info library{};
    if (dladdr(reinterpret_cast<const void*>(&HelperPath), &library) == 0 || library.dli_fname == nullptr) {
        return {};
    }
    const std::string file = library.dli_fname;
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash);
    for (const char* place : {"/", "/../bin/", "/../libexec/zelkor-sync-file/", "/../../libexec/zelkor-sync-file/"}) {
        const std::string program = folder + place + Thumbnailer::kProgram;
        if (IsProgram(program)) {
            return program;
        }
    }
    return {};
}

Decoded DecodeInHelper(const UniqueFd& input, bool isVideo, int side) {
    Decoded result;
    const std::string program = HelperPath();
    if (program.empty()) {
        result.outcome = DecodeOutcome::CannotDecode;
        result.reason = std::string(Thumbnailer::kProgram) + " is not installed beside the library";
        return result;
    }
    const UniqueFd from = HighDescriptor(input);
    const UniqueFd output = MemoryFile("picture");
    const UniqueFd errors = MemoryFile("errors");
    pid_t process = -1;
    if (from && output && errors) {
        SpawnSettings settings(from.Get(), output.Get(), errors.Get());
        process = settings.Start(program, isVideo ? Thumbnailer::kVideo : Thumbnailer::kImage, std::to_string(side));
    }
    if (process < 0) {
        result.outcome = MayPass(errno) ? DecodeOutcome::CannotRead : DecodeOutcome::CannotDecode;
        result.reason = "could not start " + program + ": " + LogText::Reason(errno);
        return result;
    }
    return Judge(process, output, errors);
}

}  // namespace Drive::Common
