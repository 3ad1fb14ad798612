#pragma once

#include <exception>
#include <string>

#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Cloud {

/// Runs an operation and turns whatever it throws into its failure value, with a line in the error log: nothing leaves
/// this library.
template <typename Result, typename Body>
Result Guarded(const char* call, Result failure, Body&& body) {
    try {
        return body();
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("CloudClient", call, std::string("the call failed inside: ") + error.what());
    } catch (...) {
        SyncPanelLog::WriteErrorLog("CloudClient", call, "the call failed inside for an unknown reason");
    }
    return failure;
}

}  // namespace Drive::Cloud
