#include "interfaces/platform/synchronisation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <vector>

#include "interfaces/platform/clock.h"
#include "tests/contract/platform/surroundings.h"

namespace Drive::Platform {

namespace {

using Testing::CaseThread;

constexpr std::int64_t kLongAway = 60'000;

/// Threads that wait for one signal, and tell when they begin to.
struct Waiters {
    explicit Waiters(int count) {
        for (int index = 0; index < count; ++index) {
            threads.emplace_back([this] {
                std::unique_lock<Mutex> lock(mutex);
                ++waiting;
                while (!ready) condition.wait(lock);
                ++woken;
            });
        }
    }

    /// All of them have given the mutex free in their wait.
    bool AllWait() {
        for (int round = 0; round < 30000; ++round) {
            {
                std::lock_guard<Mutex> lock(mutex);
                if (waiting == static_cast<int>(threads.size())) return true;
            }
            Sleep(1);
        }
        return false;
    }

    void MakeReady() {
        std::lock_guard<Mutex> lock(mutex);
        ready = true;
    }

    void Join() {
        for (CaseThread& thread : threads) thread.Join();
    }

    Mutex mutex;
    ConditionVariable condition;
    // Guarded by mutex.
    int waiting = 0;
    int woken = 0;
    bool ready = false;
    std::vector<CaseThread> threads;
};

bool CanBeTakenByAnother(Mutex& mutex) {
    bool taken = false;
    CaseThread([&] {
        taken = mutex.try_lock();
        if (taken) mutex.unlock();
    }).Join();
    return taken;
}

/// What wait_until answers when nobody signals, wake-ups without a signal left aside.
bool EndsWithoutSignal(std::int64_t deadline) {
    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    for (int round = 0; round < 1000; ++round) {
        const bool signalled = condition.wait_until(lock, deadline);
        EXPECT_TRUE(lock.owns_lock());
        if (!signalled) return true;
    }
    return false;
}

}  // namespace

// PLAT-SYNC-01
TEST(Mutex, LetsOneThreadInAtATime) {
    Mutex mutex;
    int counter = 0;
    std::vector<CaseThread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; ++round) {
                std::lock_guard<Mutex> lock(mutex);
                const int before = counter;
                if (round % 100 == 0) Sleep(0);
                counter = before + 1;
            }
        });
    }
    for (CaseThread& thread : threads) thread.Join();
    EXPECT_EQ(counter, 4000);
}

// PLAT-SYNC-02
TEST(Mutex, IsNotGivenTwice) {
    Mutex mutex;
    std::unique_lock<Mutex> lock(mutex);
    EXPECT_FALSE(CanBeTakenByAnother(mutex));
    lock.unlock();
    EXPECT_TRUE(CanBeTakenByAnother(mutex));
    EXPECT_TRUE(mutex.try_lock());
    EXPECT_FALSE(CanBeTakenByAnother(mutex));
    mutex.unlock();
    EXPECT_TRUE(CanBeTakenByAnother(mutex));
}

// PLAT-SYNC-09
TEST(Mutex, WhoWantsOneThatIsTakenGoesOnOnceItIsFree) {
    Mutex mutex;
    bool entered = false;
    std::unique_lock<Mutex> lock(mutex);
    CaseThread other([&] {
        std::lock_guard<Mutex> inner(mutex);
        entered = true;
    });
    Testing::LetTimePass(20);
    EXPECT_FALSE(entered);
    lock.unlock();
    other.Join();
    EXPECT_TRUE(entered);
}

// PLAT-SYNC-03
TEST(ConditionVariable, AWaiterWakesWhenNotified) {
    Waiters one(1);
    ASSERT_TRUE(one.AllWait());
    one.MakeReady();
    one.condition.notify_one();
    one.Join();
    EXPECT_EQ(one.woken, 1);
}

// PLAT-SYNC-04
TEST(ConditionVariable, TheMutexIsFreeWhileWaitingAndHeldAfterwards) {
    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    bool ready = false;
    CaseThread other([&] {
        std::lock_guard<Mutex> inner(mutex);
        ready = true;
        condition.notify_all();
    });
    while (!ready) condition.wait(lock);
    EXPECT_TRUE(lock.owns_lock());
    EXPECT_FALSE(CanBeTakenByAnother(mutex));
    other.Join();
}

// PLAT-SYNC-05
TEST(ConditionVariable, NotifyAllWakesEveryWaiter) {
    Waiters five(5);
    ASSERT_TRUE(five.AllWait());
    five.MakeReady();
    five.condition.notify_all();
    five.Join();
    EXPECT_EQ(five.woken, 5);
}

// PLAT-SYNC-10
TEST(ConditionVariable, EachNotifyOneWakesAnother) {
    Waiters five(5);
    ASSERT_TRUE(five.AllWait());
    five.MakeReady();
    for (int index = 0; index < 5; ++index) five.condition.notify_one();
    five.Join();
    EXPECT_EQ(five.woken, 5);
}

// PLAT-SYNC-06
TEST(ConditionVariable, WaitUntilIsFalseOnceTheDeadlinePassed) {
    const std::int64_t deadline = MonotonicMilliseconds() + 50;
    EXPECT_TRUE(EndsWithoutSignal(deadline));
    EXPECT_GE(MonotonicMilliseconds(), deadline);
}

// PLAT-SYNC-07
TEST(ConditionVariable, ADeadlineInThePastPassesAtOnce) {
    Sleep(2);
    const std::int64_t before = MonotonicMilliseconds();
    for (const std::int64_t deadline :
         {before, before - 1, std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_TRUE(EndsWithoutSignal(deadline)) << deadline;
    }
    EXPECT_LT(MonotonicMilliseconds() - before, 20000);
}

// PLAT-SYNC-11
TEST(ConditionVariable, ADeadlineInThePastPassesThoughOthersNeverRest) {
    std::atomic<bool> passed{false};
    CaseThread waiter([&] { passed = EndsWithoutSignal(MonotonicMilliseconds() - 1); });
    // The one that never rests: it only steps aside.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!passed && std::chrono::steady_clock::now() < end) Sleep(0);
    EXPECT_TRUE(passed);
}

// PLAT-SYNC-08
TEST(ConditionVariable, WaitUntilIsTrueWhenSignalledInTime) {
    for (const std::int64_t deadline :
         {MonotonicMilliseconds() + kLongAway, std::numeric_limits<std::int64_t>::max()}) {
        Mutex mutex;
        ConditionVariable condition;
        bool ready = false;
        std::unique_lock<Mutex> lock(mutex);
        CaseThread other([&] {
            Sleep(5);
            std::lock_guard<Mutex> inner(mutex);
            ready = true;
            condition.notify_one();
        });
        const std::int64_t before = MonotonicMilliseconds();
        bool signalled = true;
        while (!ready && signalled) signalled = condition.wait_until(lock, deadline);
        EXPECT_TRUE(signalled);
        EXPECT_LT(MonotonicMilliseconds() - before, kLongAway);
        lock.unlock();
        other.Join();
    }
}

}  // namespace Drive::Platform
