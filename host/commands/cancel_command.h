#pragma once

#include <string>

namespace Drive::Host {

/// "cancel": ends the transfer of one file in the command that runs on this state folder. An exit code; kExitSome when
/// there is nothing to cancel.
int RunCancel(const std::string& stateFolder, const std::string& path, bool json);

}  // namespace Drive::Host
