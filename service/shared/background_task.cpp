#include "service/shared/background_task.h"

#include <pplx/pplxtasks.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "interfaces/platform/thread_pool.h"
#include "service/shared/never_destroyed.h"

namespace Drive::TransferService {

namespace {

class GrowingScheduler : public pplx::scheduler_interface {
public:
    void schedule(pplx::TaskProc_t routine, void* argument) override {
        if (!Platform::StartTaskThread(routine, argument)) {
            throw std::runtime_error("no thread could be started for a background task");
        }
    }
};

const std::shared_ptr<pplx::scheduler_interface>& Scheduler() {
    static NeverDestroyed<std::shared_ptr<pplx::scheduler_interface>> scheduler(std::make_shared<GrowingScheduler>());
    return *scheduler;
}

}  // namespace

pplx::task_options BackgroundTaskOptions() { return pplx::task_options(Scheduler()); }

void StartBackgroundTask(std::function<void()> body) {
    // An exception that nobody observes in a task ends the process, so none may leave it.
    pplx::create_task(
        [body = std::move(body)] {
            try {
                body();
            } catch (...) {
            }
        },
        BackgroundTaskOptions());
}

void CancelCurrentTask() {
    try {
        pplx::cancel_current_task();
    } catch (const pplx::task_canceled&) {
    }
}

}  // namespace Drive::TransferService
