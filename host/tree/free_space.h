#pragma once

#include <cstdint>
#include <string>

namespace Drive::Host {

/// With this much free space, or less, the engine begins no download.
inline constexpr std::int64_t kLeastFree = 200LL << 20;

/// Free bytes of the file system that holds a folder, counted as the engine counts them; -1 when it cannot be asked.
std::int64_t FreeBytes(const std::string& folder);

}  // namespace Drive::Host
