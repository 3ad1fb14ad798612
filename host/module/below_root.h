#pragma once

#include <string>

namespace Drive::Host {

/// What a person types for an entry, as a path below the root: also a full path into the root, one with "./" before it
/// or a slash behind it. The empty text for the root itself. Pure.
std::string BelowRoot(const std::string& root, const std::string& typed);

}  // namespace Drive::Host
