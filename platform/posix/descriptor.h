#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Drive::Platform {

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto RepeatInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

/// The folder part of a native path: "." when it has none, "/" for a name in the root.
std::string FolderOf(const std::string& nativePath);

/// As ReadAt and WriteAt of file_calls.h, on a bare descriptor.
std::int64_t ReadDescriptorAt(int descriptor, std::int64_t offset, void* data, std::size_t length);
bool WriteDescriptorAt(int descriptor, std::int64_t offset, const void* data, std::size_t length);

/// What follows the folder part; empty when the path ends in a separator.
std::string NameOf(const std::string& nativePath);

enum class EntrySync { Done, Failed, CannotTell };

/// Puts the entry of an open file in its folder on disk. CannotTell when the folder cannot be opened, does not hold the
/// file under that name (it was moved, or a link led to it), or when its file system does not do that.
EntrySync SyncEntry(const std::string& folder, const std::string& name, int descriptor);

}  // namespace Drive::Platform
