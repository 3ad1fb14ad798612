#include "interfaces/platform/thread_pool.h"

#include <windows.h>

#include <atomic>
#include <exception>
#include <memory>
#include <new>

#include "interfaces/platform/worker_errors.h"

namespace Drive::Platform {

namespace {

constexpr ULONG kMostThreads = 0x7FFF;

std::atomic<int> runningWork{0};

template <typename Routine>
struct Start {
    Routine routine;
    void* argument;
};

template <typename Routine>
::DWORD WINAPI RunGuarded(void* raw) {
    const std::unique_ptr<Start<Routine>> start(static_cast<Start<Routine>*>(raw));
    try {
        start->routine(start->argument);
    } catch (const std::exception& error) {
        ReportWorkerError(error.what());
    } catch (...) {
        ReportWorkerError("an exception of unknown type");
    }
    runningWork.fetch_sub(1);
    return 0;
}

template <typename Routine, typename Launch>
bool Launched(Routine routine, void* argument, Launch launch) {
    std::unique_ptr<Start<Routine>> start(new (std::nothrow) Start<Routine>{routine, argument});
    if (!start) return false;
    runningWork.fetch_add(1);
    if (launch(&RunGuarded<Routine>, start.get())) {
        start.release();
        return true;
    }
    runningWork.fetch_sub(1);
    return false;
}

}  // namespace

BOOL QueueUserWorkItem(WorkItem routine, void* argument, ULONG flags) {
    // The system's pool stops at 500 threads unless it is told otherwise.
    ULONG wanted = flags;
    WT_SET_MAX_THREADPOOL_THREADS(wanted, kMostThreads);
    return Launched(routine, argument, [wanted](LPTHREAD_START_ROUTINE body, void* start) {
        return ::QueueUserWorkItem(body, start, wanted) != 0;
    });
}

bool StartTaskThread(TaskBody body, void* argument) {
    return Launched(body, argument, [](LPTHREAD_START_ROUTINE run, void* start) {
        const ::HANDLE thread = ::CreateThread(nullptr, 0, run, start, 0, nullptr);
        if (thread == nullptr) return false;
        ::CloseHandle(thread);
        return true;
    });
}

int RunningWorkCount() { return runningWork.load(); }

}  // namespace Drive::Platform
