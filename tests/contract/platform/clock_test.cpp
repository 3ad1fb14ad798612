#include "interfaces/platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

namespace Drive::Platform {

// PLAT-CLOCK-01
TEST(Clock, SleepPausesForAtLeastTheTimeGiven) {
    const std::int64_t before = MonotonicMilliseconds();
    Sleep(40);
    EXPECT_GE(MonotonicMilliseconds() - before, 40);
}

// PLAT-CLOCK-02
TEST(Clock, SleepOfNothingReturnsAtOnce) {
    const std::int64_t before = MonotonicMilliseconds();
    for (int round = 0; round < 3; ++round) Sleep(0);
    EXPECT_LT(MonotonicMilliseconds() - before, 5000);
}

// PLAT-CLOCK-03
TEST(Clock, UnixTimeIsTheWallClockInSeconds) {
    const std::int64_t before = std::time(nullptr);
    const std::int64_t told = UnixTimeSeconds();
    const std::int64_t after = std::time(nullptr);
    // The two may read different clocks of the system, a tick apart.
    EXPECT_GE(told, before - 1);
    EXPECT_LE(told, after + 1);
}

// PLAT-CLOCK-04
TEST(Clock, MonotonicTimeNeverGoesBack) {
    std::int64_t last = MonotonicMilliseconds();
    for (int round = 0; round < 10000; ++round) {
        const std::int64_t now = MonotonicMilliseconds();
        ASSERT_GE(now, last);
        last = now;
    }
}

// PLAT-CLOCK-05
TEST(Clock, MonotonicTimeCountsMilliseconds) {
    const auto wallBefore = std::chrono::steady_clock::now();
    const std::int64_t before = MonotonicMilliseconds();
    Sleep(120);
    const std::int64_t counted = MonotonicMilliseconds() - before;
    const auto wall = std::chrono::steady_clock::now() - wallBefore;
    EXPECT_GE(counted, 119);
    EXPECT_LE(counted, std::chrono::duration_cast<std::chrono::milliseconds>(wall).count() + 1);
}

}  // namespace Drive::Platform
