// Replaces the C++ library's plain condition wait in a test program whose virtual threads are fibers. The task layer
// waits with it for tasks, which run on other fibers of the same thread: so the wait is one of the scheduler's.
#include <condition_variable>

#include "tests/support/kernel.h"
#include "tests/support/untraced.h"
#include "tests/support/watching.h"

namespace {

using Drive::Testing::Kernel;
using Drive::Testing::Untraced;

void Signal(const void* condition, bool all) {
    if (Untraced::Inside() || Kernel::Self() == nullptr) return;
    Untraced hidden;
    Kernel::Get().SignalOutside(condition, all);
}

}  // namespace

void std::condition_variable::wait(std::unique_lock<std::mutex>& lock) noexcept {
    if (Untraced::Inside() || Kernel::Self() == nullptr || Drive::Testing::KeepBaton::On()) {
        pthread_cond_wait(native_handle(), lock.mutex()->native_handle());
        return;
    }
    // Nobody comes between the two: the others run only once this fiber waits.
    lock.unlock();
    {
        Untraced hidden;
        Kernel::Get().WaitOutside(this);
    }
    lock.lock();
}

void std::condition_variable::notify_one() noexcept {
    pthread_cond_signal(native_handle());
    Signal(this, false);
}

void std::condition_variable::notify_all() noexcept {
    pthread_cond_broadcast(native_handle());
    Signal(this, true);
}
