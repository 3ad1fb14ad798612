#pragma once

#include <string>
#include <vector>

namespace Drive::Host {

/// "evict": makes placeholders of files again whose content the cloud holds, by way of the mount that runs on the state
/// folder, or without one. An exit code.
int RunEvict(const std::string& stateFolder, const std::vector<std::string>& typed, bool json);

}  // namespace Drive::Host
