#pragma once

#include <string>
#include <thread>

/// Faults under the calls with which the writer of a log works on its file, and a clock that the test steps. Any
/// thread.
namespace Drive::Logging::Trial {

/// How the picked call goes wrong: it fails, or it writes a part and then fails.
enum class Kind { Error, HalfWritten };

/// The calls from now on are numbered from 1; call number `nth` goes wrong, with `lasting` all that follow as well.
void BeginFaults(Kind kind, int nth, bool lasting);
/// The real calls again. Gives the names of the calls that went wrong, each followed by a blank.
std::string EndFaults();

/// From now on a call that this thread makes is noted; a thread that logs must make none.
void Watch(std::thread::id thread);
/// The names of those calls, and no more of them.
std::string EndWatch();

/// Moves the monotonic clock on.
void StepClock(int seconds);

}  // namespace Drive::Logging::Trial
