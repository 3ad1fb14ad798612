#include "interfaces/platform/thread_pool.h"

#include <atomic>
#include <exception>

#include "interfaces/platform/worker_errors.h"
#include "platform/posix/growing_pool.h"

namespace Drive::Platform {

namespace {

std::atomic<int> runningWork{0};

GrowingPool& Workers() {
    static GrowingPool* const pool = new GrowingPool;
    return *pool;
}

GrowingPool& Tasks() {
    static GrowingPool* const pool = new GrowingPool;
    return *pool;
}

template <typename Routine>
void RunGuarded(void* routine, void* argument) {
    try {
        reinterpret_cast<Routine>(routine)(argument);
    } catch (const std::exception& error) {
        ReportWorkerError(error.what());
    } catch (...) {
        ReportWorkerError("an exception of unknown type");
    }
    runningWork.fetch_sub(1);
}

template <typename Routine>
bool Start(GrowingPool& (*pool)(), Routine routine, void* argument) noexcept {
    runningWork.fetch_add(1);
    try {
        if (pool().Submit({&RunGuarded<Routine>, reinterpret_cast<void*>(routine), argument})) return true;
    } catch (const std::exception&) {
        // No memory for the pool itself: the same answer as for a thread that could not be had.
    }
    runningWork.fetch_sub(1);
    return false;
}

}  // namespace

BOOL QueueUserWorkItem(WorkItem routine, void* argument, ULONG) { return Start(&Workers, routine, argument) ? 1 : 0; }

bool StartTaskThread(TaskBody body, void* argument) { return Start(&Tasks, body, argument); }

int RunningWorkCount() { return runningWork.load(); }

}  // namespace Drive::Platform
