#include "platform/posix/growing_pool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <thread>

namespace Drive::Platform {

namespace {

constexpr std::chrono::seconds kIdleLife{30};

}  // namespace

struct GrowingPool::IdleThread {
    std::condition_variable workCame;
    // Guarded by the pool's mutex.
    Work work{};
    bool hasWork = false;
};

bool GrowingPool::Submit(const Work& work) noexcept {
    try {
        if (WakeIdleThread(work)) return true;
        std::thread([this, work] { ThreadBody(work); }).detach();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool GrowingPool::WakeIdleThread(const Work& work) {
    std::lock_guard<std::mutex> lock(mutex);
    if (idle.empty()) return false;
    IdleThread* const thread = idle.back();
    idle.pop_back();
    thread->work = work;
    thread->hasWork = true;
    // Under the lock: the thread's condition is gone as soon as the thread has seen its work.
    thread->workCame.notify_one();
    return true;
}

void GrowingPool::ThreadBody(Work first) noexcept {
    Work work = first;
    do {
        work.run(work.routine, work.argument);
    } while (AwaitWork(work));
}

bool GrowingPool::AwaitWork(Work& next) noexcept {
    IdleThread self;
    std::unique_lock<std::mutex> lock(mutex);
    try {
        idle.push_back(&self);
    } catch (const std::exception&) {
        return false;
    }
    const auto end = std::chrono::steady_clock::now() + kIdleLife;
    self.workCame.wait_until(lock, end, [&self] { return self.hasWork; });
    if (!self.hasWork) {
        idle.erase(std::find(idle.begin(), idle.end(), &self));
        return false;
    }
    next = self.work;
    return true;
}

}  // namespace Drive::Platform
