#pragma once

#include <string>

namespace Drive::Host {

/// SHA-256 of a file below a root as the disk gives it now, never from memory: who asks wants to know what is there.
/// Empty when the whole content could not be read.
std::wstring ReadDigest(const std::string& root, const std::string& path);

}  // namespace Drive::Host
