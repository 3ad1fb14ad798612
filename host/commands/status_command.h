#pragma once

#include <string>

namespace Drive::Host {

/// "status": what waits, what runs and what is wrong, also beside a running command. An exit code; kExitSome when some
/// file is in trouble.
int RunStatus(const std::string& stateFolder, bool json);

}  // namespace Drive::Host
