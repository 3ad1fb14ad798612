#include <gtest/gtest.h>

#include <atomic>

#include "tests/contract/platform/meeting.h"

namespace Drive::Platform {

namespace {

std::atomic<int> newThreads{0};

DWORD CountNewThread(void*) {
    thread_local const int number = ++newThreads;
    return static_cast<DWORD>(number);
}

}  // namespace

// PLAT-POOL-05
TEST(ThreadPool, ReusesIdleThreads) {
    for (int index = 0; index < 300; ++index) {
        ASSERT_TRUE(QueueUserWorkItem(&CountNewThread, nullptr, 0));
        ASSERT_TRUE(BecomesIdle());
        Sleep(1);  // until the thread is idle again
    }
    // Two hundred that an earlier case left behind may each take one.
    EXPECT_LT(newThreads, 250);
}

}  // namespace Drive::Platform
