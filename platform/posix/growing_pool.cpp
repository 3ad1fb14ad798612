#include "platform/posix/growing_pool.h"

#include <chrono>
#include <exception>
#include <thread>

namespace Drive::Platform {

namespace {

constexpr std::chrono::seconds kIdleLife{30};

}  // namespace

bool GrowingPool::Submit(const Work& work) noexcept {
    try {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (idleThreads > pending.size()) {
                pending.push_back(work);
                workCame.notify_one();
                return true;
            }
        }
        std::thread([this, work] { ThreadBody(work); }).detach();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void GrowingPool::ThreadBody(Work first) noexcept {
    Work work = first;
    do {
        work.run(work.routine, work.argument);
    } while (AwaitWork(work));
}

bool GrowingPool::AwaitWork(Work& next) noexcept {
    std::unique_lock<std::mutex> lock(mutex);
    ++idleThreads;
    const auto end = std::chrono::steady_clock::now() + kIdleLife;
    const bool found = workCame.wait_until(lock, end, [this] { return !pending.empty(); });
    --idleThreads;
    if (!found) return false;
    next = pending.front();
    pending.pop_front();
    return true;
}

}  // namespace Drive::Platform
