#pragma once

#include <unistd.h>

#include <atomic>
#include <string>
#include <utility>

#include "platform/shared/handle_table.h"

namespace Drive::Platform {

/// A descriptor, closed with its owner.
class OpenFile {
public:
    OpenFile(std::string chosenFolder, std::string chosenName) noexcept
        : folder(std::move(chosenFolder)), name(std::move(chosenName)) {}
    ~OpenFile() {
        if (descriptor >= 0) ::close(descriptor);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Set once, before the handle is given out; -1 while the place is only reserved.
    int descriptor = -1;
    /// Native path of the folder that held the file when it was opened, and its name there.
    const std::string folder;
    const std::string name;
    /// The entry in that folder is on disk. Two threads may both find it false: then both sync, which is harmless.
    std::atomic<bool> entryOnDisk{false};
    /// A sync failed: the system may have dropped what it could not write, and would swear to the rest next time.
    std::atomic<bool> lost{false};
};

}  // namespace Drive::Platform
