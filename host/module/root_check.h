#pragma once

#include <string>

#include "host/records/host_records.h"

/// A root whose disk is not mounted is an empty folder in the place of the real one. Bringing everything down into it,
/// or taking all files for removed, must not happen.
namespace Drive::Host {

/// Tells one folder from another that stands at the same path: device and number. Empty when it cannot be asked.
std::string RootIdentity(const std::string& root);

/// False when the root is another folder than last time, is empty, and files are known to have stood there. `leaveOut`
/// is a name in the root that does not count; may be empty.
bool LooksMounted(const std::string& root, const std::string& leaveOut, HostRecords& records);

/// Remembers the root as the one that belongs to the records.
void RememberRoot(const std::string& root, HostRecords& records);

}  // namespace Drive::Host
