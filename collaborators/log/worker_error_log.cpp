#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/worker_errors.h"

namespace Drive {

namespace {

void WriteWorkerError(const char* message) noexcept {
    try {
        SyncPanelLog::WriteErrorLog("Platform", "QueueUserWorkItem",
                                    std::string("an exception left a work item: ") + message);
    } catch (const std::exception&) {
        return;
    }
}

[[maybe_unused]] const bool registered = [] {
    Platform::SetWorkerErrorHandler(&WriteWorkerError);
    return true;
}();

}  // namespace

}  // namespace Drive
