#pragma once

#include <string>

namespace Drive::Host {

/// A fresh id of a file that the cloud does not have yet: the engine takes every id that begins with "Local" for one.
/// Throws std::runtime_error when this machine has no random numbers to give, since a second id like it would be
/// taken for the same file.
std::wstring NewLocalId();

}  // namespace Drive::Host
