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
    explicit OpenFile(std::string folder) noexcept : parentFolder(std::move(folder)) {}
    ~OpenFile() {
        if (descriptor >= 0) ::close(descriptor);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Set once, before the handle is given out; -1 while the place is only reserved.
    int descriptor = -1;
    /// Native path of the folder that holds the file, as it was when opened.
    const std::string parentFolder;
    /// The entry in that folder is on disk. Two threads may both find it false: then both sync, which is harmless.
    std::atomic<bool> entryOnDisk{false};
};

}  // namespace Drive::Platform
