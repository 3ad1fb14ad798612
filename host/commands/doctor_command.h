#pragma once

#include <string>

namespace Drive::Host {

/// "doctor": looks at everything that a command needs and tells what is wrong and what to do. Changes nothing. An exit
/// code; kExitSome when something is wrong.
int RunDoctor(const std::string& stateFolder, bool json);

}  // namespace Drive::Host
