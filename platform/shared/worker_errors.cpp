#include "interfaces/platform/worker_errors.h"

#include <atomic>
#include <cstdio>

namespace Drive::Platform {

namespace {

std::atomic<WorkerErrorHandler> currentHandler{nullptr};

}  // namespace

void SetWorkerErrorHandler(WorkerErrorHandler handler) { currentHandler.store(handler); }

void ReportWorkerError(const char* message) noexcept {
    if (WorkerErrorHandler handler = currentHandler.load()) {
        handler(message);
    } else {
        std::fprintf(stderr, "An exception left a work item: %s\n", message);
    }
}

}  // namespace Drive::Platform
