#pragma once

#include <windows.h>

#include <atomic>

#include "platform/shared/handle_table.h"

namespace Drive::Platform {

/// One of the system's own handles, which it gives out again soon after they were closed; closed with its owner.
class OpenFile {
public:
    OpenFile() = default;
    ~OpenFile() {
        if (native != kInvalidHandle) ::CloseHandle(native);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// Set once, before the handle is given out; invalid while the place is only reserved.
    ::HANDLE native = kInvalidHandle;
    /// A flush failed: the next one may not tell of it again.
    std::atomic<bool> lost{false};
};

}  // namespace Drive::Platform
