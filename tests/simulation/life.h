#pragma once

#include <cstddef>
#include <string>

#include "tests/simulation/plan.h"

namespace Drive::Simulation {

/// Lives one life of a history in this process, which ends with it: with status 0, or with 1 when an invariant did not
/// hold, which is then told on the standard output. The folder holds what one life leaves to the next, and the file
/// "log" in it, to which the journal is added when `log` says so.
[[noreturn]] void Live(const Plan& plan, std::size_t number, const std::string& folder, bool log);

}  // namespace Drive::Simulation
