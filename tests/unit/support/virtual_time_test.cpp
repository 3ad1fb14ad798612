#include "tests/support/virtual_time.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/support/journal.h"

namespace Drive::Testing {
namespace {

using Platform::ConditionVariable;
using Platform::MonotonicMilliseconds;
using Platform::Mutex;
using Platform::Sleep;
using Platform::UnixTimeSeconds;

TEST(VirtualTime, StandsStillWhileNobodyLetsItPass) {
    VirtualTime::Run(0, [] {
        EXPECT_EQ(MonotonicMilliseconds(), 0);
        VirtualTime::Settle();
        EXPECT_EQ(MonotonicMilliseconds(), 0);
    });
}

TEST(VirtualTime, JumpsOverASleepOfADay) {
    VirtualTime::Run(0, [] {
        const std::int64_t before = UnixTimeSeconds();
        Sleep(86400 * 1000);
        EXPECT_EQ(UnixTimeSeconds() - before, 86400);
        EXPECT_EQ(MonotonicMilliseconds(), 86400 * 1000);
    });
}

TEST(VirtualTime, LetsOthersDoAllThatIsDueAtTheMomentItAdvancesTo) {
    VirtualTime::Run(0, [] {
        std::atomic<int> woken{0};  // the baton is hidden from the thread sanitizer
        for (int i = 0; i < 3; ++i) {
            VirtualTime::Start("sleeper", [&] {
                Sleep(100);
                ++woken;
                Sleep(1);
                ++woken;
            });
        }
        VirtualTime::AdvanceBy(99);
        EXPECT_EQ(woken, 0);
        VirtualTime::AdvanceBy(1);
        EXPECT_EQ(woken, 3);
        VirtualTime::AdvanceBy(1);
        EXPECT_EQ(woken, 6);
        EXPECT_EQ(VirtualTime::LiveThreads(), 0);
    });
}

TEST(VirtualTime, RunsOneThreadAtATime) {
    VirtualTime::Run(7, [] {
        int inside = 0;
        int most = 0;
        for (int i = 0; i < 8; ++i) {
            VirtualTime::Start("worker", [&] {
                for (int round = 0; round < 50; ++round) {
                    most = std::max(most, ++inside);
                    --inside;
                    VirtualTime::Yield();
                }
            });
        }
        EXPECT_TRUE(VirtualTime::Drain(1000));
        EXPECT_EQ(most, 1);
    });
}

TEST(VirtualTime, MutexKeepsOthersOutAcrossASleep) {
    VirtualTime::Run(3, [] {
        Mutex mutex;
        int inside = 0;
        bool overlapped = false;
        for (int i = 0; i < 4; ++i) {
            VirtualTime::Start("owner", [&] {
                std::lock_guard<Mutex> lock(mutex);
                overlapped = overlapped || inside != 0;
                ++inside;
                Sleep(1000);
                --inside;
            });
        }
        EXPECT_TRUE(VirtualTime::Drain(10000));
        EXPECT_FALSE(overlapped);
        EXPECT_EQ(VirtualTime::Now(), 4000);
    });
}

TEST(VirtualTime, TryLockAnswersFalseWhileAnotherHoldsTheMutex) {
    VirtualTime::Run(0, [] {
        Mutex mutex;
        bool got = true;
        mutex.lock();
        VirtualTime::Start("other", [&] { got = mutex.try_lock(); });
        VirtualTime::Settle();
        EXPECT_FALSE(got);
        mutex.unlock();
        EXPECT_TRUE(mutex.try_lock());
        mutex.unlock();
    });
}

TEST(VirtualTime, ConditionWakesOneOrAllAndTimesOut) {
    VirtualTime::Run(0, [] {
        Mutex mutex;
        ConditionVariable condition;
        int signalled = 0;
        int late = 0;
        for (int i = 0; i < 3; ++i) {
            VirtualTime::Start("waiter", [&] {
                std::unique_lock<Mutex> lock(mutex);
                if (condition.wait_until(lock, 500)) {
                    ++signalled;
                } else {
                    ++late;
                }
            });
        }
        VirtualTime::Settle();
        condition.notify_one();
        VirtualTime::Settle();
        EXPECT_EQ(signalled, 1);
        condition.notify_one();
        VirtualTime::AdvanceBy(499);
        EXPECT_EQ(signalled, 2);
        EXPECT_EQ(late, 0);
        VirtualTime::AdvanceBy(1);
        EXPECT_EQ(late, 1);
    });
}

TEST(VirtualTime, RunUntilStopsAtTheVeryStepThatFulfilsIt) {
    VirtualTime::Run(0, [] {
        int steps = 0;
        VirtualTime::Start("counter", [&] {
            while (true) {
                ++steps;
                Sleep(10);
            }
        });
        EXPECT_TRUE(VirtualTime::RunUntil([&] { return steps == 5; }, 1000));
        EXPECT_EQ(steps, 5);
        EXPECT_EQ(VirtualTime::Now(), 40);
        EXPECT_FALSE(VirtualTime::RunUntil([] { return false; }, 60));
        EXPECT_EQ(VirtualTime::Now(), 100);
        EXPECT_EQ(steps, 11);
    });
}

TEST(VirtualTime, WallClockCanBeSetAndGoesOn) {
    VirtualTime::Run(0, [] {
        Sleep(5000);
        VirtualTime::SetWallClock(1000);
        EXPECT_EQ(UnixTimeSeconds(), 1000);
        Sleep(3000);
        EXPECT_EQ(UnixTimeSeconds(), 1003);
    });
}

std::vector<std::string> Jumble(std::uint64_t seed) {
    std::vector<std::string> order;
    VirtualOptions options;
    options.seed = seed;
    options.switchOneOf = 2;
    VirtualTime::Run(options, [&] {
        Mutex mutex;
        for (int i = 0; i < 5; ++i) {
            VirtualTime::Start("worker", [&] {
                for (int round = 0; round < 5; ++round) {
                    std::lock_guard<Mutex> lock(mutex);
                    order.push_back(VirtualTime::ThreadName());
                    Sleep(static_cast<Platform::DWORD>(VirtualTime::Random(20)));
                }
            });
        }
        EXPECT_TRUE(VirtualTime::Drain(100000));
    });
    return order;
}

TEST(VirtualTime, SameSeedGivesTheSameOrderAndAnotherSeedAnother) {
    EXPECT_EQ(Jumble(11), Jumble(11));
    EXPECT_NE(Jumble(11), Jumble(12));
    EXPECT_EQ(Jumble(11).size(), 25u);
}

TEST(VirtualTime, LeavesParkedThreadsBehindWithoutHarm) {
    Mutex mutex;
    ConditionVariable condition;
    VirtualTime::Run(0, [&] {
        VirtualTime::Start("waiter", [&] {
            std::unique_lock<Mutex> lock(mutex);
            condition.wait(lock);
            ADD_FAILURE() << "a parked thread went on";
        });
        VirtualTime::Settle();
        EXPECT_EQ(VirtualTime::LiveThreads(), 1);
    });
    EXPECT_FALSE(VirtualTime::Active());
    VirtualTime::Run(0, [] { Sleep(1000); });
}

TEST(VirtualTimeDeath, ToldWhoWaitsWhereWhenNobodyCanGoOn) {
    EXPECT_DEATH(VirtualTime::Run(0,
                                  [] {
                                      Mutex mutex;
                                      ConditionVariable condition;
                                      std::unique_lock<Mutex> lock(mutex);
                                      condition.wait(lock);
                                  }),
                 "every thread waits.*\n.*test: waits for a condition");
}

TEST(VirtualTime, PassesAnExceptionOfTheBodyOn) {
    EXPECT_THROW(VirtualTime::Run(0, [] { throw std::runtime_error("body"); }), std::runtime_error);
    EXPECT_FALSE(VirtualTime::Active());
}

TEST(VirtualTime, CallsTheStepFunctionWheneverAnEngineThreadMayGiveTheBatonAway) {
    VirtualOptions options;
    std::vector<std::string> steps;
    options.onStep = [&] { steps.push_back(VirtualTime::ThreadName()); };
    VirtualTime::Run(options, [&] {
        VirtualTime::Start("engine", [] {
            Sleep(10);
            VirtualTime::MaybeYield();
        });
        EXPECT_TRUE(VirtualTime::Drain(1000));
    });
    // At the sleep, at the operation, and at the end; never for the test's own thread.
    EXPECT_EQ(steps, (std::vector<std::string>{"engine-1", "engine-1", "engine-1"}));
}

}  // namespace
}  // namespace Drive::Testing
