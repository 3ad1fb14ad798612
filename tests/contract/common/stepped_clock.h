#pragma once

#include <cstdint>

/// The platform's clock of the tests that link it: it moves only when it is told to, or when somebody sleeps.
namespace Drive::Common::Trial {

void StepClock(std::int64_t milliseconds);

/// Milliseconds slept since the last call of this function.
std::int64_t TakeSlept();

}  // namespace Drive::Common::Trial
