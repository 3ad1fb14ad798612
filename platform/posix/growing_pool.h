#pragma once

#include <mutex>
#include <vector>

namespace Drive::Platform {

/// Detached threads that are made when no idle one is left and end after a while without work. The thread that became
/// idle last works first, so that the others can end. One pool lives in a function-local pointer and is never
/// destroyed: its threads use it until the process ends.
class GrowingPool {
public:
    struct Work {
        void (*run)(void* routine, void* argument);
        void* routine;
        void* argument;
    };

    /// Runs `work` on a thread of its own, at once. False when no thread could be had; then it is never run.
    bool Submit(const Work& work) noexcept;

private:
    struct IdleThread;

    void ThreadBody(Work first) noexcept;
    bool AwaitWork(Work& next) noexcept;
    bool WakeIdleThread(const Work& work);

    std::mutex mutex;
    // Guarded by mutex. Each entry is on the stack of a thread that waits in AwaitWork.
    std::vector<IdleThread*> idle;
};

}  // namespace Drive::Platform
