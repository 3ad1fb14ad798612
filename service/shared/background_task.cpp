#include "service/shared/background_task.h"

#include <pplx/pplxtasks.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "interfaces/platform/thread_pool.h"
#include "service/shared/never_destroyed.h"

namespace Drive::TransferService {

namespace {

/// A start in progress on this thread. The task layer keeps what a scheduler throws to itself, so a refusal is told
/// here.
struct Start {
    bool refused = false;
};

thread_local Start* startInProgress = nullptr;

class GrowingScheduler : public pplx::scheduler_interface {
public:
    void schedule(pplx::TaskProc_t routine, void* argument) override {
        if (Platform::StartTaskThread(routine, argument)) return;
        // Run here, so that the task layer gives its own back; a body that was refused does nothing.
        if (startInProgress != nullptr) startInProgress->refused = true;
        routine(argument);
    }
};

const std::shared_ptr<pplx::scheduler_interface>& Scheduler() {
    static NeverDestroyed<std::shared_ptr<pplx::scheduler_interface>> scheduler(std::make_shared<GrowingScheduler>());
    return *scheduler;
}

}  // namespace

pplx::task_options BackgroundTaskOptions() { return pplx::task_options(Scheduler()); }

void StartBackgroundTask(std::function<void()> body) {
    const auto start = std::make_shared<Start>();
    startInProgress = start.get();
    // An exception that nobody observes in a task ends the process, so none may leave it.
    pplx::create_task(
        [start, body = std::move(body)] {
            if (start->refused) return;
            try {
                body();
            } catch (...) {
            }
        },
        BackgroundTaskOptions());
    startInProgress = nullptr;
    if (start->refused) throw std::runtime_error("no thread could be started for a background task");
}

void CancelCurrentTask() {
    try {
        pplx::cancel_current_task();
    } catch (const pplx::task_canceled&) {
    }
}

}  // namespace Drive::TransferService
