#include <gtest/gtest.h>

#include "tests/contract/platform/meeting.h"

namespace Drive::Platform {

namespace {

// A sanitizer makes each thread cost much more.
#ifdef ZELKOR_SANITIZED
constexpr int kMany = 300;
#else
constexpr int kMany = 1000;
#endif

}  // namespace

// PLAT-POOL-17
TEST(ThreadPool, AThousandBlockedWorkersHoldUpNeitherAWorkerNorATask) {
    Meeting blocked(kMany + 1);
    for (int index = 0; index < kMany; ++index) ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &blocked, 0));
    Meeting others(2);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &others, 0));
    ASSERT_TRUE(StartTaskThread(&ArriveAsTask, &others));
    EXPECT_TRUE(others.AllCame());
    EXPECT_GE(RunningWorkCount(), kMany);
    blocked.Arrive();
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(blocked.Threads().size(), static_cast<std::size_t>(kMany + 1));
}

}  // namespace Drive::Platform
