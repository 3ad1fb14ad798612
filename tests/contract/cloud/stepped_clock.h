#pragma once

#include <cstdint>
#include <vector>

/// Replaces the platform's clock in a test program that links the library's objects: a pause steps it at once.
namespace Drive::Testing {

std::vector<std::uint32_t> PausesSoFar();
std::int64_t PausedMilliseconds();
void ForgetPauses();
void StepClock(std::int64_t milliseconds);

}  // namespace Drive::Testing
