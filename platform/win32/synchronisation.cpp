#include "interfaces/platform/synchronisation.h"

#include <windows.h>

#include <algorithm>

#include "interfaces/platform/clock.h"

namespace Drive::Platform {

struct Mutex::Body {
    SRWLOCK lock = SRWLOCK_INIT;
};

struct ConditionVariable::Body {
    CONDITION_VARIABLE condition = CONDITION_VARIABLE_INIT;
};

Mutex::Mutex() : body(new Body) {}
Mutex::~Mutex() { delete body; }
void Mutex::lock() { ::AcquireSRWLockExclusive(&body->lock); }
bool Mutex::try_lock() { return ::TryAcquireSRWLockExclusive(&body->lock) != 0; }
void Mutex::unlock() { ::ReleaseSRWLockExclusive(&body->lock); }

ConditionVariable::ConditionVariable() : body(new Body) {}
ConditionVariable::~ConditionVariable() { delete body; }

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) {
    ::SleepConditionVariableSRW(&body->condition, &lock.mutex()->body->lock, INFINITE, 0);
}

bool ConditionVariable::wait_until(std::unique_lock<Mutex>& lock, std::int64_t deadline) {
    const std::int64_t now = MonotonicMilliseconds();
    if (deadline <= now) return false;
    // A wait that ends early, by a tick or because the system cannot count so far, is a wake-up without a signal.
    const auto longest = static_cast<std::uint64_t>(INFINITE - 1);
    const std::uint64_t left = static_cast<std::uint64_t>(deadline) - static_cast<std::uint64_t>(now);
    const auto pause = static_cast<::DWORD>(std::min(left, longest));
    if (::SleepConditionVariableSRW(&body->condition, &lock.mutex()->body->lock, pause, 0)) return true;
    return MonotonicMilliseconds() < deadline;
}

void ConditionVariable::notify_one() { ::WakeConditionVariable(&body->condition); }
void ConditionVariable::notify_all() { ::WakeAllConditionVariable(&body->condition); }

}  // namespace Drive::Platform
