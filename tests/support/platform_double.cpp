// The platform's clock, mutexes, conditions and thread pool on virtual time. Without a run they are the real ones.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <thread>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/synchronisation.h"
#include "interfaces/platform/thread_pool.h"
#include "tests/support/journal.h"
#include "tests/support/kernel.h"
#include "tests/support/untraced.h"

namespace Drive::Platform {

using Testing::Journal;
using Testing::Kernel;
using Testing::Kind;
using Testing::Untraced;
using Testing::VirtualTime;
using Testing::Visitor;

namespace {

std::int64_t RealMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void RealSleep(DWORD milliseconds) {
    if (milliseconds == 0) return std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

constexpr std::int64_t kNoDeadline = -1;

/// What is later than a real clock could tell is no deadline; what lies before the clock's own start has passed.
std::int64_t Sensible(std::int64_t deadline) {
    if (deadline >= std::numeric_limits<std::int64_t>::max() / 1'000'000) return kNoDeadline;
    return std::max<std::int64_t>(deadline, 0);
}

}  // namespace

void Sleep(DWORD milliseconds) {
    if (!VirtualTime::Active()) return RealSleep(milliseconds);
    Journal::Write(Kind::Sleep, std::to_string(milliseconds));
    VirtualTime::Pause(milliseconds);
}

std::int64_t UnixTimeSeconds() {
    if (!VirtualTime::Active()) return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    return VirtualTime::WallClock();
}

std::int64_t MonotonicMilliseconds() { return VirtualTime::Active() ? VirtualTime::Now() : RealMilliseconds(); }

// `taken` is what the scheduler knows; `real` is never waited for during a run, and shows the sanitizer that a mutex
// of the engine was locked here.
struct Mutex::Body {
    bool taken = false;
    std::mutex real;
};

Mutex::Mutex() : body(new Body) {}
Mutex::~Mutex() { delete body; }

void Mutex::lock() {
    {
        Untraced hidden;
        if (Kernel::Get().Active()) {
            Visitor visitor;
            Kernel::Get().Lock(body->taken);
        }
    }
    body->real.lock();
}

bool Mutex::try_lock() {
    {
        Untraced hidden;
        if (Kernel::Get().Active() && !Kernel::Get().TryLock(body->taken)) return false;
    }
    return body->real.try_lock();
}

void Mutex::unlock() {
    body->real.unlock();
    Untraced hidden;
    Kernel::Get().Unlock(body->taken);
}

struct ConditionVariable::Body {
    /// As wait_until, kNoDeadline for none.
    bool Await(Mutex::Body& mutex, std::int64_t deadline);

    std::condition_variable_any real;
};

ConditionVariable::ConditionVariable() : body(new Body) {}
ConditionVariable::~ConditionVariable() { delete body; }

bool ConditionVariable::Body::Await(Mutex::Body& mutex, std::int64_t deadline) {
    if (VirtualTime::Active()) {
        mutex.real.unlock();
        bool signalled = false;
        {
            Untraced hidden;
            Visitor visitor;
            signalled = Kernel::Get().Wait(this, mutex.taken, deadline);
        }
        mutex.real.lock();
        return signalled;
    }
    if (deadline == kNoDeadline) return real.wait(mutex.real), true;
    const auto left = std::chrono::milliseconds(deadline - RealMilliseconds());
    return real.wait_for(mutex.real, left) == std::cv_status::no_timeout;
}

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) { body->Await(*lock.mutex()->body, kNoDeadline); }

bool ConditionVariable::wait_until(std::unique_lock<Mutex>& lock, std::int64_t deadline) {
    return body->Await(*lock.mutex()->body, Sensible(deadline));
}

void ConditionVariable::notify_one() {
    body->real.notify_one();
    Untraced hidden;
    Kernel::Get().Signal(body, false);
}

void ConditionVariable::notify_all() {
    body->real.notify_all();
    Untraced hidden;
    Kernel::Get().Signal(body, true);
}

}  // namespace Drive::Platform
