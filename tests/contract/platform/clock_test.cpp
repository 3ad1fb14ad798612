#include "interfaces/platform/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "tests/contract/platform/surroundings.h"

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
    for (const std::int64_t pause : {0, 20}) {
        Testing::LetTimePass(pause);
        const std::int64_t before = Testing::WallClock();
        const std::int64_t told = UnixTimeSeconds();
        const std::int64_t after = Testing::WallClock();
        // The two may read different clocks of the system, a tick apart.
        EXPECT_GE(told, before - 1);
        EXPECT_LE(told, after + 1);
    }
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
    const std::int64_t before = MonotonicMilliseconds();
    const std::int64_t passed = Testing::LetTimePass(120);
    const std::int64_t counted = MonotonicMilliseconds() - before;
    EXPECT_GE(counted, 119);
    // Between the two readings of this clock a busy machine may do something else; microseconds would be 120,000.
    EXPECT_LE(counted, passed + 60'000);
}

// PLAT-CLOCK-06
TEST(Clock, WhoPausesForNothingGivesTheProcessorAway) {
    std::atomic<bool> came{false};
    Testing::CaseThread other([&] { came = true; });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!came && std::chrono::steady_clock::now() < end) Sleep(0);
    EXPECT_TRUE(came);
}

}  // namespace Drive::Platform
