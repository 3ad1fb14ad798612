#pragma once

#include <cstddef>
#include <memory>

#include "interfaces/platform/types.h"

/// The table of open files. A handle is the number of an entry; numbers are never used twice, so a stale handle is
/// refused for as long as the process lives. Any thread.
namespace Drive::Platform {

/// One open file of the operating system; posix/ and win32/ each say what that is. Its last owner closes it: the file
/// stays open until its handle was closed and the last call that uses it has returned, so what the system calls it
/// never changes its file under a running read.
class OpenFile;

HANDLE InsertOpenFile(std::shared_ptr<OpenFile> file);

/// The open file of a handle, or null for none, the invalid value and an unknown or closed handle.
std::shared_ptr<OpenFile> FindOpenFile(HANDLE handle) noexcept;

/// Takes the handle out of the table. False when it was not in.
bool RemoveOpenFile(HANDLE handle) noexcept;

std::size_t CountOpenFiles() noexcept;

}  // namespace Drive::Platform
