#include "interfaces/platform/thread_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/platform/worker_errors.h"
#include "tests/contract/platform/meeting.h"
#include "tests/contract/platform/surroundings.h"

namespace Drive::Platform {

namespace {

/// Takes the reports of failed workers for the time of a test.
class Reports {
public:
    Reports() {
        Texts().clear();
        SetWorkerErrorHandler([](const char* message) {
            std::lock_guard<std::mutex> lock(Guard());
            Texts().emplace_back(message);
        });
    }
    ~Reports() { SetWorkerErrorHandler(nullptr); }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    std::vector<std::string> Sorted() const {
        std::lock_guard<std::mutex> lock(Guard());
        std::vector<std::string> sorted = Texts();
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }

private:
    static std::mutex& Guard() {
        static std::mutex guard;
        return guard;
    }
    static std::vector<std::string>& Texts() {
        static std::vector<std::string> texts;
        return texts;
    }
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
    EXPECT_EQ(meeting.Threads().size(), 200u);
}

// PLAT-POOL-04
TEST(ThreadPool, RunsOnAThreadOfItsOwnAndNotOnTheCallers) {
    Meeting meeting(1);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.Threads().count(Testing::ThreadNumber()), 0u);
}

// PLAT-POOL-06
TEST(ThreadPool, AnExceptionOfAWorkerEndsNeitherThreadNorProcess) {
    const Reports reports;
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(QueueUserWorkItem([](void*) -> DWORD { throw std::runtime_error("lost"); }, nullptr, 0));
    }
    ASSERT_TRUE(QueueUserWorkItem([](void*) -> DWORD { throw 5; }, nullptr, 0));
    ASSERT_TRUE(BecomesIdle());
    const std::vector<std::string> told = reports.Sorted();
    EXPECT_EQ(std::count(told.begin(), told.end(), "lost"), 3);
    EXPECT_EQ(told.size(), 4u);
    Meeting meeting(1);
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(meeting.Count(), 1);
}

// PLAT-POOL-07
TEST(ThreadPool, AnExceptionOfATaskEndsNothingEither) {
    const Reports reports;
    ASSERT_TRUE(StartTaskThread([](void*) { throw std::runtime_error("lost as well"); }, nullptr));
    ASSERT_TRUE(BecomesIdle());
    EXPECT_EQ(reports.Sorted(), std::vector<std::string>{"lost as well"});
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
    EXPECT_EQ(tasks.Threads().size(), 201u);
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
    Meeting meeting(4);
    // Whoever else lives is no work of the pool.
    Testing::CaseThread outsider([&] { meeting.Arrive(); });
    ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &meeting, 0));
    EXPECT_EQ(RunningWorkCount(), 1);
    ASSERT_TRUE(StartTaskThread(&ArriveAsTask, &meeting));
    EXPECT_EQ(RunningWorkCount(), 2);
    meeting.Arrive();
    outsider.Join();
    EXPECT_TRUE(BecomesIdle());
}

// PLAT-POOL-11
TEST(ThreadPool, MayBeUsedFromAnyThreadAtOnce) {
    std::atomic<int> done{0};
    std::vector<Testing::CaseThread> callers;
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
    for (Testing::CaseThread& caller : callers) caller.Join();
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
