#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <mutex>
#include <string>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"
#include "tests/contract/platform/copy_files.h"

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

// PLAT-IO-16
TEST_F(CopyFiles, SignalsDisturbNeitherReadingNorWritingNorCopying) {
    const Rain rain;
    std::string block(2u << 20, '\0');
    for (std::size_t index = 0; index < block.size(); ++index) block[index] = static_cast<char>(index * 13 >> 4);
    for (int round = 0; round < 2; ++round) {
        const HANDLE handle = CreateFileW(folder.Engine("file").c_str(), kGenericRead | kGenericWrite, 7, nullptr,
                                          kOpenAlways, 0, nullptr);
        EXPECT_TRUE(WriteAt(handle, 0, block.data(), block.size()));
        EXPECT_TRUE(SyncToDisk(handle));
        std::string back(block.size(), '\0');
        EXPECT_EQ(ReadAt(handle, 0, back.data(), back.size()), static_cast<std::int64_t>(block.size()));
        EXPECT_TRUE(back == block);
        EXPECT_TRUE(CloseHandle(handle));
        EXPECT_TRUE(Copy("file", "copy"));
        EXPECT_TRUE(folder.Get("copy") == block);
    }
}

}  // namespace Drive::Platform
