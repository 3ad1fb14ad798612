#pragma once

#include <mutex>

#include "interfaces/platform/synchronisation.h"

namespace Drive::TransferService {

/// A plain counting semaphore: no upper bound and no time-out. Any thread.
class TaskSemaphore {
public:
    explicit TaskSemaphore(int count) : count(count) {}

    /// Waits until the count is at least 1 and takes 1 off.
    void acquire() {
        std::unique_lock lock(mutex);
        while (count < 1) condition.wait(lock);
        --count;
    }

    void release() {
        std::lock_guard lock(mutex);
        ++count;
        condition.notify_one();
    }

private:
    Platform::Mutex mutex;
    Platform::ConditionVariable condition;
    int count;  // guarded by mutex
};

}  // namespace Drive::TransferService
