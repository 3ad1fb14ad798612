#pragma once

#include "interfaces/platform/export.h"
#include "interfaces/platform/types.h"

/// Where work runs. Both operations may be called from any thread and never throw.
namespace Drive::Platform {

/// A worker: takes one untyped pointer that it owns from then on.
using WorkItem = DWORD (*)(void*);

/// Runs `routine` with `argument` on some thread of a pool that grows without a bound of its own. `flags` is always 0.
/// False when no thread could be had; the routine is then never called and the caller keeps the argument. An
/// exception out of the routine ends neither the thread nor the process; it goes to ReportWorkerError
/// (worker_errors.h), and so to the error log.
ZELKOR_API BOOL QueueUserWorkItem(WorkItem routine, void* argument, ULONG flags);

/// A free-running piece of work of the task layer.
using TaskBody = void (*)(void*);

/// Runs `body` with `argument` on a thread of its own kind, apart from the pool above, so that tasks that block for
/// hours never hold up workers or file streams. False as above.
ZELKOR_API bool StartTaskThread(TaskBody body, void* argument);

/// Work items and tasks that were accepted and have not returned yet; no other thread of the process.
ZELKOR_API int RunningWorkCount();

}  // namespace Drive::Platform
