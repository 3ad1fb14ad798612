#include <gtest/gtest.h>

#include "tests/contract/platform/meeting.h"
#include "tests/support/virtual_time.h"

namespace Drive::Platform {

using Testing::ScriptedPool;

// PLAT-POOL-13
TEST(ThreadPool, ARefusedRoutineIsNeverCalledAndNotCounted) {
    ASSERT_TRUE(BecomesIdle());
    Meeting meeting(1);
    ScriptedPool::FailNext(1);
    EXPECT_FALSE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_EQ(RunningWorkCount(), 0);
    Testing::LetTimePass(1000);
    EXPECT_EQ(meeting.Count(), 0);
    EXPECT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_TRUE(meeting.AllCame());
}

// PLAT-POOL-14
TEST(ThreadPool, ARefusedTaskIsNeverCalledAndNotCounted) {
    ASSERT_TRUE(BecomesIdle());
    Meeting meeting(1);
    ScriptedPool::FailNextTasks(1);
    EXPECT_FALSE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_EQ(RunningWorkCount(), 0);
    Testing::LetTimePass(1000);
    EXPECT_EQ(meeting.Count(), 0);
    EXPECT_TRUE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_TRUE(meeting.AllCame());
}

// PLAT-POOL-10
TEST(ThreadPool, WhatIsHeldCountsAsAccepted) {
    ASSERT_TRUE(BecomesIdle());
    Meeting meeting(2);
    ScriptedPool::Hold(true);
    EXPECT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    Testing::LetTimePass(1000);
    EXPECT_EQ(RunningWorkCount(), 2);
    EXPECT_EQ(meeting.Count(), 0);
    ScriptedPool::ReleaseAll();
    EXPECT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.Count(), 2);
    ScriptedPool::Reset();
}

}  // namespace Drive::Platform
