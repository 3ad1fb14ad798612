#pragma once

#include <string>
#include <vector>

/// The system calls of the platform's file calls, let through, counted, or made to fail. For one thread at a time.
namespace Drive::Platform::Trial {

/// From now on the call number `which` (from 1) fails with `error` and does nothing; the others are the real ones.
void FailCall(int which, int error);

/// From now on every call of this name fails with `error`.
void FailEvery(const std::string& name, int error);

/// From now on each read and write moves one byte.
void MoveSingleBytes();

/// The real calls again. Gives the names of the calls made since the faults began, in their order.
std::vector<std::string> EndFaults();

}  // namespace Drive::Platform::Trial
