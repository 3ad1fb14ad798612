#include "interfaces/platform/synchronisation.h"

#include <chrono>
#include <condition_variable>
#include <limits>

namespace Drive::Platform {

struct Mutex::Body {
    std::mutex mutex;
};

struct ConditionVariable::Body {
    std::condition_variable condition;
};

namespace {

/// The standard lock that a standard condition wants, over a mutex that the caller holds before and after.
class BorrowedLock {
public:
    explicit BorrowedLock(std::mutex& mutex) : lock(mutex, std::adopt_lock) {}
    ~BorrowedLock() { lock.release(); }
    BorrowedLock(const BorrowedLock&) = delete;
    BorrowedLock& operator=(const BorrowedLock&) = delete;

    std::unique_lock<std::mutex> lock;
};

/// The steady clock counts nanoseconds: a later deadline than this cannot be expressed and is none.
constexpr std::int64_t kLatestDeadline = std::numeric_limits<std::int64_t>::max() / 1'000'000;

}  // namespace

Mutex::Mutex() : body(new Body) {}
Mutex::~Mutex() { delete body; }
void Mutex::lock() { body->mutex.lock(); }
bool Mutex::try_lock() { return body->mutex.try_lock(); }
void Mutex::unlock() { body->mutex.unlock(); }

ConditionVariable::ConditionVariable() : body(new Body) {}
ConditionVariable::~ConditionVariable() { delete body; }

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) {
    BorrowedLock borrowed(lock.mutex()->body->mutex);
    body->condition.wait(borrowed.lock);
}

bool ConditionVariable::wait_until(std::unique_lock<Mutex>& lock, std::int64_t deadline) {
    if (deadline >= kLatestDeadline) {
        wait(lock);
        return true;
    }
    // A deadline before the clock's own start has passed like any other one.
    const std::chrono::milliseconds sinceStart(deadline < 0 ? 0 : deadline);
    BorrowedLock borrowed(lock.mutex()->body->mutex);
    const auto result = body->condition.wait_until(borrowed.lock, std::chrono::steady_clock::time_point(sinceStart));
    return result == std::cv_status::no_timeout;
}

void ConditionVariable::notify_one() { body->condition.notify_one(); }
void ConditionVariable::notify_all() { body->condition.notify_all(); }

}  // namespace Drive::Platform
