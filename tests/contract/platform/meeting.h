#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/thread_pool.h"

namespace Drive::Platform {

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

/// Waits until nothing that was accepted runs any more.
inline bool BecomesIdle() {
    for (int round = 0; round < 30000; ++round) {
        if (RunningWorkCount() == 0) return true;
        Sleep(1);
    }
    return false;
}

inline DWORD ArriveAsWorker(void* meeting) {
    static_cast<Meeting*>(meeting)->Arrive();
    return 0;
}

inline void ArriveAsTask(void* meeting) { static_cast<Meeting*>(meeting)->Arrive(); }

}  // namespace Drive::Platform
