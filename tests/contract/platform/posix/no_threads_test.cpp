#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/contract/platform/meeting.h"

// Sanitizers reserve too much address space of their own for a limit on it to mean anything.
#ifndef ZELKOR_SANITIZED

namespace Drive::Platform {
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

}  // namespace Drive::Platform

#endif
