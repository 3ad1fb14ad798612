#pragma once

#include <functional>

/// SIGINT, SIGTERM and SIGHUP as a flag that loops look at. The launcher blocks the three before any thread exists;
/// a thread of its own waits for them here. A second signal ends the process at once.
namespace Drive::Host {

/// Starts the waiting thread. Once, before anything that may take long.
void WatchStopSignals();

/// True once a signal has come.
bool StopRequested();

/// Called on the waiting thread when the first signal comes, or at once when it came already; an empty function for
/// nothing.
void OnStopRequested(std::function<void()> action);

}  // namespace Drive::Host
