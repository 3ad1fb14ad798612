#include "host/module/stop_signal.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "host/module/exit_codes.h"

namespace Drive::Host {
namespace {

// Never destroyed: the waiting thread outlives everything.
struct Watch {
    std::atomic<bool> requested{false};
    std::mutex mutex;
    std::function<void()> action;  // guarded by mutex
};

Watch& TheWatch() {
    static Watch* const watch = new Watch;
    return *watch;
}

sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

void WaitForSignals() {
    const sigset_t signals = StopSignals();
    int number = 0;
    while (sigwait(&signals, &number) != 0) {
    }
    Watch& watch = TheWatch();
    {
        const std::lock_guard lock(watch.mutex);
        watch.requested = true;
        if (watch.action) {
            watch.action();
        }
    }
    while (sigwait(&signals, &number) != 0) {
    }
    _exit(kExitStopped);
}

}  // namespace

void WatchStopSignals() {
    const sigset_t signals = StopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);  // a file that may not grow any more fails alone
    std::thread(WaitForSignals).detach();
}

bool StopRequested() { return TheWatch().requested; }

void OnStopRequested(std::function<void()> action) {
    Watch& watch = TheWatch();
    const std::lock_guard lock(watch.mutex);
    watch.action = std::move(action);
    if (watch.requested && watch.action) {
        watch.action();
    }
}

}  // namespace Drive::Host
