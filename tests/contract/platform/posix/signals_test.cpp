#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <mutex>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"

namespace Drive::Platform {

namespace {

std::atomic<int> signals{0};

/// While it lives a signal comes every two milliseconds, and system calls that it interrupts say so. The first has come
/// when it is there.
class Rain {
public:
    Rain() {
        signals = 0;
        struct sigaction count {};
        count.sa_handler = [](int) { ++signals; };
        ::sigaction(SIGALRM, &count, &earlier);
        const itimerval often{{0, 2000}, {0, 2000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        while (signals == 0) ::usleep(1000);
    }
    ~Rain() {
        const itimerval never{};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &earlier, nullptr);
    }
    Rain(const Rain&) = delete;
    Rain& operator=(const Rain&) = delete;

private:
    struct sigaction earlier {};
};

}  // namespace

// PLAT-CLOCK-07
TEST(Clock, ASignalShortensNoPauseAndNoWait) {
    const Rain rain;
    const std::int64_t before = MonotonicMilliseconds();
    Sleep(30);
    EXPECT_GE(MonotonicMilliseconds() - before, 30);

    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    const std::int64_t deadline = MonotonicMilliseconds() + 30;
    while (condition.wait_until(lock, deadline)) {
    }
    EXPECT_GE(MonotonicMilliseconds(), deadline);
}

}  // namespace Drive::Platform
