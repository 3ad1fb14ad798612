#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "interfaces/platform/types.h"

namespace Drive::Platform {

/// One open descriptor. It is closed when its handle was closed and the last call that uses it has returned, so a
/// descriptor number never changes its file under a running read.
class OpenFile {
public:
    explicit OpenFile(std::string folder) noexcept;
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Set once, before the handle is given out; -1 while the place is only reserved.
    int descriptor = -1;
    /// Native path of the folder that holds the file, as it was when opened.
    const std::string parentFolder;
    /// The entry in that folder is on disk. Two threads may both find it false: then both sync, which is harmless.
    std::atomic<bool> entryOnDisk{false};
};

/// The table of open files. A handle is the number of an entry; numbers are never used twice, so a stale handle is
/// refused for as long as the process lives. Any thread.
HANDLE InsertOpenFile(std::shared_ptr<OpenFile> file);

/// The open file of a handle, or null for none, the invalid value and an unknown or closed handle.
std::shared_ptr<OpenFile> FindOpenFile(HANDLE handle) noexcept;

/// Takes the handle out of the table. False when it was not in.
bool RemoveOpenFile(HANDLE handle) noexcept;

std::size_t CountOpenFiles() noexcept;

}  // namespace Drive::Platform
