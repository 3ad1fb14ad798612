#pragma once

#include <cstdint>
#include <mutex>

#include "interfaces/platform/export.h"

/// Mutex and condition of the engine. Their bodies stand in the platform layer, so that a simulation can put its own
/// scheduler under them; the shipped ones are the standard library's.
namespace Drive::Platform {

class ConditionVariable;

/// A plain mutex; use it through std::unique_lock and std::lock_guard. Not recursive. Making a mutex or a condition
/// throws std::bad_alloc without memory; no other operation throws.
class ZELKOR_API Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    void lock();
    bool try_lock();
    void unlock();

private:
    friend class ConditionVariable;
    struct Body;
    Body* body;
};

/// A condition on a Mutex. Wake-ups without a signal are possible: test the condition in a loop. Destroying one that
/// still has a waiter is forbidden; what threads may wait on at process end is kept in NeverDestroyed.
class ZELKOR_API ConditionVariable {
public:
    ConditionVariable();
    ~ConditionVariable();
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void wait(std::unique_lock<Mutex>& lock);

    /// Waits until signalled or until MonotonicMilliseconds reaches `deadline`, which may lie in the past (the wait
    /// then ends at once, whatever other threads do) or beyond all time. False when the deadline passed; the mutex is
    /// held again in any case.
    bool wait_until(std::unique_lock<Mutex>& lock, std::int64_t deadline);

    /// Wakes at least one of those that wait, or all of them; nobody who comes to wait later.
    void notify_one();
    void notify_all();

private:
    struct Body;
    Body* body;
};

}  // namespace Drive::Platform
