#include <gtest/gtest.h>
#include <pplx/pplxtasks.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {
namespace {

TEST(OutsideWaits, TaskThatAThreadWaitsForMaySleep) {
    VirtualTime::Run(0, [] {
        pplx::task<int> task = pplx::create_task([] {
            Platform::Sleep(10);
            return 5;
        });
        EXPECT_EQ(task.get(), 5);
        EXPECT_EQ(VirtualTime::Now(), 10);
    });
}

TEST(OutsideWaits, ContinuationRunsOnVirtualTimeAndItsExceptionArrives) {
    VirtualTime::Run(0, [] {
        auto task = pplx::create_task([] { return 1; }).then([](int) -> int {
            Platform::Sleep(1000);
            throw std::runtime_error("continuation");
        });
        EXPECT_THROW(task.get(), std::runtime_error);
        EXPECT_EQ(VirtualTime::Now(), 1000);
    });
}

TEST(OutsideWaits, ThreadOfNobodysMaySleepAndLock) {
    VirtualTime::Run(0, [] {
        Platform::Mutex mutex;
        std::atomic<bool> done{false};
        mutex.lock();
        std::thread foreign([&] {
            Platform::Sleep(500);
            std::lock_guard<Platform::Mutex> lock(mutex);
            done = true;
        });
        // It comes when it comes; from then on virtual time is its time.
        while (VirtualTime::LiveThreads() == 0) std::this_thread::yield();
        VirtualTime::AdvanceBy(600);
        EXPECT_FALSE(done);
        mutex.unlock();
        while (!done) {
            VirtualTime::AdvanceBy(1);
            std::this_thread::yield();
        }
        foreign.join();
        EXPECT_TRUE(done);
    });
}

}  // namespace
}  // namespace Drive::Testing
