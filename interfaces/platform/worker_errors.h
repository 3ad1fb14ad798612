#pragma once

#include "interfaces/platform/export.h"

/// Where an exception that left a work item is told. The platform layer stands below the log, so the log (or a host)
/// registers itself here. Apart from thread_pool.h, so that a test's pool does not have to bring it.
namespace Drive::Platform {

/// Takes the message of the exception; called on the worker's thread, must be fast and must not throw.
using WorkerErrorHandler = void (*)(const char* message);

/// Replaces the handler; null takes it away. Any thread. Without a handler the message goes to standard error.
/// ZelkorSyncFile.Log registers itself when it is loaded.
ZELKOR_API void SetWorkerErrorHandler(WorkerErrorHandler handler);

/// Hands `message` to the handler. Any thread, never throws. A pool of one's own reports through this as well.
ZELKOR_API void ReportWorkerError(const char* message) noexcept;

}  // namespace Drive::Platform
