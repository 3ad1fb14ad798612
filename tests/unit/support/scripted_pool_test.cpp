#include <gtest/gtest.h>

#include <stdexcept>

#include "interfaces/platform/thread_pool.h"
#include "tests/support/journal.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {
namespace {

int ran = 0;

Platform::DWORD Count(void*) {
    ++ran;
    return 0;
}

Platform::DWORD Throw(void*) { throw std::runtime_error("from a work item"); }

TEST(ScriptedPool, RunsWhatItAccepts) {
    VirtualTime::Run(0, [] {
        EXPECT_TRUE(Platform::QueueUserWorkItem(&Count, nullptr, 0));
        EXPECT_EQ(ran, 0);
        VirtualTime::Settle();
        EXPECT_EQ(ran, 1);
        EXPECT_EQ(Platform::RunningWorkCount(), 0);
    });
}

TEST(ScriptedPool, RefusesWhenToldToAndNeverCallsWhatItRefused) {
    VirtualTime::Run(0, [] {
        ScriptedPool::FailNext(1);
        EXPECT_FALSE(Platform::QueueUserWorkItem(&Count, nullptr, 0));
        EXPECT_TRUE(Platform::QueueUserWorkItem(&Count, nullptr, 0));
        VirtualTime::Settle();
        EXPECT_EQ(ran, 1);
        EXPECT_EQ(ScriptedPool::Queued().size(), 2u);
    });
}

TEST(ScriptedPool, HoldsItemsBackUntilTheyAreReleased) {
    VirtualTime::Run(0, [] {
        ScriptedPool::Hold(true);
        int place = 0;
        Platform::QueueUserWorkItem(&Count, &place, 0);
        Platform::QueueUserWorkItem(&Count, nullptr, 0);
        VirtualTime::AdvanceBy(1000000);
        EXPECT_EQ(ran, 0);
        ASSERT_EQ(ScriptedPool::Held().size(), 2u);
        EXPECT_EQ(ScriptedPool::Held()[0].argument, &place);
        EXPECT_TRUE(ScriptedPool::ReleaseOne());
        VirtualTime::Settle();
        EXPECT_EQ(ran, 1);
        ScriptedPool::ReleaseAll();
        VirtualTime::Settle();
        EXPECT_EQ(ran, 2);
        EXPECT_FALSE(ScriptedPool::ReleaseOne());
    });
}

TEST(ScriptedPool, SurvivesAnExceptionOutOfAWorkItem) {
    VirtualTime::Run(0, [] {
        Platform::QueueUserWorkItem(&Throw, nullptr, 0);
        VirtualTime::Settle();
        EXPECT_TRUE(Journal::Has(Kind::Pool, "work item threw from a work item"));
    });
}

TEST(ScriptedPool, RefusesTaskThreadsWhenToldTo) {
    VirtualTime::Run(0, [] {
        ScriptedPool::FailNextTasks(1);
        const auto count = [](void*) { ++ran; };
        EXPECT_FALSE(Platform::StartTaskThread(count, nullptr));
        EXPECT_TRUE(Platform::StartTaskThread(count, nullptr));
        VirtualTime::Settle();
        EXPECT_EQ(ran, 1);
    });
}

TEST(ScriptedPool, TellsAnObserverOfEachStageOfAWorkItem) {
    VirtualTime::Run(0, [] {
        std::string stages;
        ScriptedPool::Observe(
            [&](const ScriptedPool::Item&, ScriptedPool::Stage stage) { stages += "ARBE"[static_cast<int>(stage)]; });
        ScriptedPool::FailNext(1);
        Platform::QueueUserWorkItem([](void*) { return 0u; }, nullptr, 0);
        EXPECT_EQ(stages, "R");
        Platform::QueueUserWorkItem([](void*) { return 0u; }, nullptr, 0);
        EXPECT_EQ(stages, "RA");
        VirtualTime::Settle();
        EXPECT_EQ(stages, "RABE");
        ScriptedPool::Reset();
    });
}

}  // namespace
}  // namespace Drive::Testing
