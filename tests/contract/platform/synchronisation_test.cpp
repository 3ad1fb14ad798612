#include "interfaces/platform/synchronisation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "interfaces/platform/clock.h"

namespace Drive::Platform {

// PLAT-SYNC-01
TEST(Mutex, LetsOneThreadInAtATime) {
    Mutex mutex;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                std::lock_guard<Mutex> lock(mutex);
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 20000);
}

// PLAT-SYNC-02
TEST(Mutex, IsNotGivenTwice) {
    Mutex mutex;
    std::unique_lock<Mutex> lock(mutex);
    bool taken = true;
    std::thread([&] { taken = mutex.try_lock(); }).join();
    EXPECT_FALSE(taken);
    lock.unlock();
    std::thread([&] {
        taken = mutex.try_lock();
        if (taken) mutex.unlock();
    }).join();
    EXPECT_TRUE(taken);
}

// PLAT-SYNC-03
TEST(ConditionVariable, AWaiterWakesWhenNotified) {
    Mutex mutex;
    ConditionVariable condition;
    bool ready = false;
    std::thread waiter([&] {
        std::unique_lock<Mutex> lock(mutex);
        while (!ready) condition.wait(lock);
    });
    {
        std::lock_guard<Mutex> lock(mutex);
        ready = true;
    }
    condition.notify_one();
    waiter.join();
}

// PLAT-SYNC-04
TEST(ConditionVariable, TheMutexIsFreeWhileWaitingAndHeldAfterwards) {
    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    bool ready = false;
    std::thread other([&] {
        std::lock_guard<Mutex> inner(mutex);
        ready = true;
        condition.notify_all();
    });
    while (!ready) condition.wait(lock);
    EXPECT_TRUE(lock.owns_lock());
    bool taken = true;
    std::thread([&] { taken = mutex.try_lock(); }).join();
    EXPECT_FALSE(taken);
    other.join();
}

// PLAT-SYNC-05
TEST(ConditionVariable, NotifyAllWakesEveryWaiter) {
    Mutex mutex;
    ConditionVariable condition;
    bool ready = false;
    std::vector<std::thread> waiters;
    for (int index = 0; index < 5; ++index) {
        waiters.emplace_back([&] {
            std::unique_lock<Mutex> lock(mutex);
            while (!ready) condition.wait(lock);
        });
    }
    {
        std::lock_guard<Mutex> lock(mutex);
        ready = true;
    }
    condition.notify_all();
    for (std::thread& waiter : waiters) waiter.join();
}

// PLAT-SYNC-06
TEST(ConditionVariable, WaitUntilIsFalseOnceTheDeadlinePassed) {
    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    const std::int64_t deadline = MonotonicMilliseconds() + 50;
    while (condition.wait_until(lock, deadline)) {
    }
    EXPECT_GE(MonotonicMilliseconds(), deadline);
    EXPECT_TRUE(lock.owns_lock());
}

// PLAT-SYNC-07
TEST(ConditionVariable, ADeadlineInThePastPassesAtOnce) {
    Mutex mutex;
    ConditionVariable condition;
    std::unique_lock<Mutex> lock(mutex);
    const std::int64_t before = MonotonicMilliseconds();
    for (const std::int64_t deadline : {before - 1, std::int64_t{0}, std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_FALSE(condition.wait_until(lock, deadline));
    }
    EXPECT_LT(MonotonicMilliseconds() - before, 20000);
}

// PLAT-SYNC-08
TEST(ConditionVariable, WaitUntilIsTrueWhenSignalledInTime) {
    for (const std::int64_t deadline : {MonotonicMilliseconds() + 60'000, std::numeric_limits<std::int64_t>::max()}) {
        Mutex mutex;
        ConditionVariable condition;
        bool ready = false;
        std::unique_lock<Mutex> lock(mutex);
        std::thread other([&] {
            std::lock_guard<Mutex> inner(mutex);
            ready = true;
            condition.notify_one();
        });
        bool signalled = true;
        while (!ready && signalled) signalled = condition.wait_until(lock, deadline);
        EXPECT_TRUE(signalled);
        lock.unlock();
        other.join();
    }
}

}  // namespace Drive::Platform
