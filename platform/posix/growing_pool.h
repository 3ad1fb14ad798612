#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace Drive::Platform {

/// Detached threads that are made when no idle one is left and end after a while without work. One lives in a
/// function-local pointer and is never destroyed: its threads wait inside it until the process ends.
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
    void ThreadBody(Work first) noexcept;
    bool AwaitWork(Work& next) noexcept;

    std::mutex mutex;
    std::condition_variable workCame;
    // Guarded by mutex. Each pending item has an idle thread reserved: pending.size() <= idleThreads.
    std::deque<Work> pending;
    std::size_t idleThreads = 0;
};

}  // namespace Drive::Platform
