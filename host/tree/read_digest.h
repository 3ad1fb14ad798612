#pragma once

#include <functional>
#include <string>

namespace Drive::Host {

/// SHA-256 of a file below a root as the disk gives it now, never from memory: who asks wants to know what is there.
/// Empty when the whole content could not be read, or when `stop`, which is asked several times a second while a large
/// file is read, answered true.
std::wstring ReadDigest(const std::string& root, const std::string& path, const std::function<bool()>& stop);

}  // namespace Drive::Host
