// The launcher: sets what the engine reads while it is being loaded, loads the host module, and ends the process the
// way that a process with an engine in it must end.
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "host/launcher/apply_settings.h"
#include "host/launcher/state_option.h"
#include "host/module/exit_codes.h"

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

int RunHostModule(int argc, char** argv) {
    void* library = dlopen("libzelkor_drive_host.so", RTLD_NOW | RTLD_LOCAL);
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
