// Replaces the C++ library's plain condition wait in a test program. The task layer waits with it for tasks, and those
// tasks may need the baton that the waiting thread holds: so the baton goes on for the time of the wait.
#include <condition_variable>

#include "tests/support/kernel.h"
#include "tests/support/untraced.h"
#include "tests/support/watching.h"

void std::condition_variable::wait(std::unique_lock<std::mutex>& lock) noexcept {
    using Drive::Testing::Kernel;
    using Drive::Testing::Untraced;
    const bool leave = !Untraced::Inside() && Kernel::Self() != nullptr && !Drive::Testing::KeepBaton::On();
    if (leave) {
        Untraced hidden;
        Kernel::Get().Leave();
    }
    pthread_cond_wait(native_handle(), lock.mutex()->native_handle());
    if (!leave) return;
    // Not with the lock in hand: whoever holds the baton may want it.
    lock.unlock();
    {
        Untraced hidden;
        Kernel::Get().Join();
    }
    lock.lock();
}
