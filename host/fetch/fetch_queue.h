#pragma once

#include "interfaces/common/file_item.h"

/// Asks the engine for files ahead of everything else. The engine may block for seconds behind a pass of its own, so
/// the asking is done on threads of its own: those that wait side by side when the pass ends go with the next one all
/// together, where one after the other would cost a pass each.
namespace Drive::Host {

class FetchQueue {
public:
    /// Queues the file. Its row stands in the database and a sink is open for its path (fetch_sinks.h). What becomes
    /// of it is told through the engine's events; a fetch that the engine drops in silence is told by nobody, so the
    /// caller keeps a deadline and calls GiveUp.
    static void Ask(const Common::FileItem& file);

    /// Removes the task that was written for a fetch that has not begun.
    static void GiveUp(const std::wstring& fileId);
};

}  // namespace Drive::Host
