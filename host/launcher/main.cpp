// The launcher: sets what the engine reads while it is being loaded, loads the host module, and ends the process the
// way that a process with an engine in it must end.
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "host/launcher/apply_settings.h"
#include "host/launcher/state_option.h"
#include "host/module/exit_codes.h"
#include "interfaces/common/core_files.h"

// Present only in builds with the leak check or with coverage.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));
extern "C" void __gcov_dump() __attribute__((weak));

namespace {

using HostEntry = int (*)(int, char**);

// Every thread inherits the mask, so that only the one that waits for these signals gets them.
void BlockStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// Looked for beside the program, as it was built or installed, before the loader's own folders: a sanitizer's loader
// does not know the folders that this program was linked with.
void* LoadHostModule() {
    const std::string module = "libzelkor_drive_host.so";
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program);
    if (length > 0) {
        const std::string path(program, static_cast<std::size_t>(length));
        const std::string folder = path.substr(0, path.rfind('/') + 1);
        for (const char* libraries : {"../lib/", "../" ZELKOR_LIBRARY_FOLDER "/"}) {
            const std::string candidate = folder + libraries + module;
            if (access(candidate.c_str(), R_OK) == 0) return dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
        }
    }
    return dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
}

int RunHostModule(int argc, char** argv) {
    void* library = LoadHostModule();
    if (library == nullptr) {
        std::fprintf(stderr, "zelkor-drive: cannot load its host module: %s\n", dlerror());
        return Drive::Host::kExitLocal;
    }
    const auto entry = reinterpret_cast<HostEntry>(dlsym(library, "zelkor_drive_host_main"));
    if (entry == nullptr) {
        std::fprintf(stderr, "zelkor-drive: the host module is not of this version: %s\n", dlerror());
        return Drive::Host::kExitLocal;
    }
    return entry(argc, argv);
}

// Engine threads may still be running, so destructors of static objects must not.
[[noreturn]] void EndProcess(int code) {
    std::fflush(nullptr);
    if (__lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0 && code == 0) {
        code = Drive::Host::kExitLeak;
    }
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    _exit(code);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace Drive::Host;
    BlockStopSignals();
    // Keys and tokens must not reach a disk by way of a crash. Where it cannot be set, the key buffers are left out all
    // the same.
    Drive::Common::LeaveMemoryOutOfCoreFiles();
    const EarlyOptions options = ReadEarlyOptions(argc, argv);
    Settings settings;
    std::string error;
    bool absent = false;
    ReadSettings(options.stateFolder, settings, error, absent);  // the module reads them again and reports
    settings.uploads = options.uploads.value_or(settings.uploads);
    settings.downloads = options.downloads.value_or(settings.downloads);
    ApplySettings(settings);
    EndProcess(RunHostModule(argc, argv));
}
