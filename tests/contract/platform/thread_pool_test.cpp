#include "interfaces/platform/thread_pool.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/worker_errors.h"

namespace Drive::Platform {

namespace {

/// A meeting point: each that arrives waits until the last one is there.
struct Meeting {
    explicit Meeting(int count) : awaited(count) {}

    void Arrive() {
        std::unique_lock<std::mutex> lock(mutex);
        ++arrived;
        threads.insert(std::this_thread::get_id());
        changed.notify_all();
        changed.wait(lock, [this] { return arrived >= awaited; });
    }

    bool AllCame() {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(30), [this] { return arrived >= awaited; });
    }

    int Count() {
        std::lock_guard<std::mutex> lock(mutex);
        return arrived;
    }

    void Release() {
        std::lock_guard<std::mutex> lock(mutex);
        awaited = 0;
        changed.notify_all();
    }

    int awaited;
    std::mutex mutex;
    std::condition_variable changed;
    int arrived = 0;
    std::set<std::thread::id> threads;
};

std::size_t CountThreads() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator()));
}

bool BecomesIdle() {
    for (int round = 0; round < 3000; ++round) {
        if (RunningWorkCount() == 0) return true;
        Sleep(10);
    }
    return false;
}

DWORD ArriveAsWorker(void* meeting) {
    static_cast<Meeting*>(meeting)->Arrive();
    return 0;
}

void ArriveAsTask(void* meeting) { static_cast<Meeting*>(meeting)->Arrive(); }

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

// PLAT-POOL-05
TEST(ThreadPool, ReusesIdleThreads) {
    const std::size_t before = CountThreads();
    for (int index = 0; index < 100; ++index) {
        Meeting single(1);
        ASSERT_TRUE(QueueUserWorkItem(&ArriveAsWorker, &single, 0));
        ASSERT_TRUE(BecomesIdle());
        Sleep(3);  // until the thread is idle again
    }
    EXPECT_LT(CountThreads(), before + 50);
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

// Sanitizers reserve too much address space of their own for a limit on it to mean anything.
#ifndef ZELKOR_SANITIZED

namespace {

/// While it lives the process can have little more memory than it has now: enough for work, too little for thread
/// after thread.
class AddressSpaceLimit {
public:
    AddressSpaceLimit() {
        ::getrlimit(RLIMIT_AS, &before);
        std::ifstream statm("/proc/self/statm");
        rlim_t pages = 0;
        statm >> pages;
        rlimit limited = before;
        limited.rlim_cur = pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (64u << 20);
        ::setrlimit(RLIMIT_AS, &limited);
    }
    ~AddressSpaceLimit() { ::setrlimit(RLIMIT_AS, &before); }

private:
    rlimit before{};
};

void ExpectRefusalWithoutThreads(const std::function<bool(Meeting&)>& start) {
    // Each that was accepted waits for one more than can come, until the test itself arrives often enough.
    Meeting meeting(1 << 20);
    int accepted = 0;
    {
        const AddressSpaceLimit limit;
        while (accepted < 5000 && start(meeting)) ++accepted;
    }
    EXPECT_LT(accepted, 5000);
    for (int round = 0; round < 3000 && meeting.Count() < accepted; ++round) Sleep(10);
    Sleep(20);
    EXPECT_EQ(meeting.Count(), accepted);
    EXPECT_EQ(RunningWorkCount(), accepted);
    meeting.Release();
    ASSERT_TRUE(BecomesIdle());
}

}  // namespace

// PLAT-POOL-13
TEST(ThreadPool, WithoutAThreadTheAnswerIsFalseAndTheRoutineIsNeverCalled) {
    ExpectRefusalWithoutThreads([](Meeting& meeting) { return QueueUserWorkItem(&ArriveAsWorker, &meeting, 0) != 0; });
}

// PLAT-POOL-14
TEST(ThreadPool, WithoutAThreadATaskIsRefusedAsWell) {
    ExpectRefusalWithoutThreads([](Meeting& meeting) { return StartTaskThread(&ArriveAsTask, &meeting); });
}

#endif

}  // namespace Drive::Platform
