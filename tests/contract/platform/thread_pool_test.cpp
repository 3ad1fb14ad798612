#include "interfaces/platform/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/worker_errors.h"
#include "tests/contract/platform/meeting.h"

namespace Drive::Platform {

namespace {

std::atomic<int> reports{0};
void CountReport(const char*) { ++reports; }

/// Takes the reports of failed workers for the time of a test.
struct ReportsCounted {
    ReportsCounted() {
        reports = 0;
        SetWorkerErrorHandler(&CountReport);
    }
    ~ReportsCounted() { SetWorkerErrorHandler(nullptr); }
};

}  // namespace

// PLAT-POOL-01
TEST(ThreadPool, RunsTheRoutineWithItsArgument) {
    std::atomic<int> value{0};
    ASSERT_TRUE(QueueUserWorkItem(
        [](void* argument) -> DWORD {
            static_cast<std::atomic<int>*>(argument)->store(42);
            return 7;
        },
        &value, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(value, 42);
}

// PLAT-POOL-02
TEST(ThreadPool, ANullArgumentArrivesAsItIs) {
    static std::atomic<bool> wasNull{false};
    ASSERT_TRUE(QueueUserWorkItem(
        [](void* argument) -> DWORD {
            wasNull = argument == nullptr;
            return 0;
        },
        nullptr, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_TRUE(wasNull);
}

// PLAT-POOL-03
TEST(ThreadPool, GrowsForAsManyWorkersAsBlockAtOnce) {
    Meeting meeting(200);
    for (int index = 0; index < 200; ++index) ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_TRUE(meeting.AllCame());
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.threads.size(), 200u);
}

// PLAT-POOL-04
TEST(ThreadPool, RunsOnAThreadOfItsOwnAndNotOnTheCallers) {
    Meeting meeting(1);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.threads.count(std::this_thread::get_id()), 0u);
}

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

// PLAT-POOL-06
TEST(ThreadPool, AnExceptionOfAWorkerEndsNeitherThreadNorProcess) {
    const ReportsCounted counted;
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(QueueUserWorkItem([](void*) -> DWORD { throw std::runtime_error("lost"); }, nullptr, 0));
        ASSERT_TRUE(QueueUserWorkItem([](void*) -> DWORD { throw 5; }, nullptr, 0));
    }
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(reports, 6);
    Meeting meeting(1);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.arrived, 1);
}

// PLAT-POOL-07
TEST(ThreadPool, AnExceptionOfATaskEndsNothingEither) {
    const ReportsCounted counted;
    ASSERT_TRUE(StartTaskThread([](void*) { throw std::runtime_error("lost"); }, nullptr));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(reports, 1);
}

// PLAT-POOL-08
TEST(ThreadPool, BlockedTasksNeverHoldUpWorkers) {
    Meeting tasks(201);
    for (int index = 0; index < 200; ++index) ASSERT_TRUE(StartTaskThread(&ArriveAsTask, &tasks));
    Meeting worker(1);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &worker, 0));
    EXPECT_TRUE(worker.AllCame());
    EXPECT_GE(RunningWorkCount(), 200);
    tasks.Arrive();
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(tasks.threads.size(), 201u);
}

// PLAT-POOL-09
TEST(ThreadPool, BlockedWorkersNeverHoldUpTasks) {
    Meeting workers(101);
    for (int index = 0; index < 100; ++index) ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &workers, 0));
    Meeting task(1);
    ASSERT_TRUE(StartTaskThread(&ArriveAsTask, &task));
    EXPECT_TRUE(task.AllCame());
    workers.Arrive();
    ASSERT_TRUE(BecomesIdle());
}

// PLAT-POOL-10
TEST(ThreadPool, CountsWhatRuns) {
    ASSERT_TRUE(BecomesIdle());
    Meeting meeting(3);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    ASSERT_TRUE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_EQ(RunningWorkCount(), 2);
    meeting.Arrive();
    EXPECT_TRUE(BecomesIdle());
}

// PLAT-POOL-11
TEST(ThreadPool, MayBeUsedFromAnyThreadAtOnce) {
    std::atomic<int> done{0};
    std::vector<std::thread> callers;
    for (int index = 0; index < 8; ++index) {
        callers.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_TRUE(QueueUserWorkItem(
                    [](void* counter) -> DWORD {
                        ++*static_cast<std::atomic<int>*>(counter);
                        return 0;
                    },
                    &done, 0));
            }
        });
    }
    for (std::thread& caller : callers) caller.join();
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(done, 1600);
}

// PLAT-POOL-12
TEST(ThreadPool, AWorkerMayStartFurtherWork) {
    static std::atomic<int> depth{0};
    depth = 0;
    struct Chain {
        static DWORD Next(void*) {
            if (++depth < 20) {
                EXPECT_TRUE(QueueUserWorkItem(&Chain::Next, nullptr, 0));
            }
            return 0;
        }
    };
    ASSERT_TRUE(QueueUserWorkItem(&Chain::Next, nullptr, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(depth, 20);
}

}  // namespace Drive::Platform
