#pragma once

#include <string>

namespace Drive::Host {

/// "status": what waits, what runs and what is wrong, also beside a running command. Names at most `files` of the files
/// that wait, run or failed. An exit code; kExitSome when some file is in trouble.
int RunStatus(const std::string& stateFolder, int files, bool json);

}  // namespace Drive::Host
