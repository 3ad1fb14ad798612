#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/contract/platform/surroundings.h"

namespace Drive::Platform {

/// A meeting point: each that arrives waits until the last one is there.
class Meeting {
public:
    explicit Meeting(int count) : awaited(count) {}
    /// A case that ends early leaves nobody behind here.
    ~Meeting();
    Meeting(const Meeting&) = delete;
    Meeting& operator=(const Meeting&) = delete;

    void Arrive() {
        std::unique_lock<Mutex> lock(mutex);
        ++arrived;
        threads.insert(Testing::ThreadNumber());
        if (arrived >= awaited) changed.notify_all();
        while (arrived < awaited) changed.wait(lock);
    }

    bool AllCame() {
        const std::int64_t end = MonotonicMilliseconds() + 30'000;
        std::unique_lock<Mutex> lock(mutex);
        while (arrived < awaited && changed.wait_until(lock, end)) {
        }
        return arrived >= awaited;
    }

    int Count() {
        std::lock_guard<Mutex> lock(mutex);
        return arrived;
    }

    std::set<std::size_t> Threads() {
        std::lock_guard<Mutex> lock(mutex);
        return threads;
    }

    void Release() {
        std::lock_guard<Mutex> lock(mutex);
        awaited = 0;
        changed.notify_all();
    }

private:
    Mutex mutex;
    ConditionVariable changed;
    // Guarded by mutex.
    int awaited;
    int arrived = 0;
    std::set<std::size_t> threads;
};

/// Waits until nothing that was accepted runs any more.
inline bool BecomesIdle() {
    for (int round = 0; round < 30000; ++round) {
        if (RunningWorkCount() == 0) return true;
        Sleep(1);
    }
    return false;
}

inline Meeting::~Meeting() {
    Release();
    BecomesIdle();
}

inline DWORD ArriveAsWorker(void* meeting) {
    static_cast<Meeting*>(meeting)->Arrive();
    return 0;
}

inline void ArriveAsTask(void* meeting) { static_cast<Meeting*>(meeting)->Arrive(); }

}  // namespace Drive::Platform
