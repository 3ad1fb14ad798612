#pragma once

#include <string>
#include <vector>

namespace Drive::Host {

/// Runs this program again with other words and waits for it. The engine starts once in a process and knows one root,
/// so a command that moves files both ways is made of others. A stop signal is passed on. The child's exit code, or
/// kExitLocal when it could not be run or died.
int RunChild(const std::vector<std::string>& words);

/// What two commands after each other come to: the worse of the two.
int WorseOf(int first, int second);

}  // namespace Drive::Host
