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

/// Puts the entries of a folder on disk. False when that cannot be sworn.
bool SyncFolder(const std::string& nativeFolder);

}  // namespace Drive::Platform
