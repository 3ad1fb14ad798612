#pragma once

#include <functional>

namespace pplx {
class task_options;
}

namespace Drive::TransferService {

/// Starts a free-running task that nobody waits for. It runs on a scheduler of our own that grows with the number of
/// tasks: the task layer's default pool has a fixed number of threads, and tasks that block would stall everything on
/// it. An exception out of `body` ends the task and nothing else. Throws when no thread can be had; `body` is then
/// never called.
void StartBackgroundTask(std::function<void()> body);

/// Options that put a task or a continuation on that scheduler.
pplx::task_options BackgroundTaskOptions();

/// Ends the task that runs on this thread as cancelled, by an exception of the task layer which is caught here.
void CancelCurrentTask();

}  // namespace Drive::TransferService
