#pragma once

/// How zelkor-drive ends. Scripts rely on the numbers.
namespace Drive::Host {

inline constexpr int kExitOk = 0;       ///< all well
inline constexpr int kExitSome = 1;     ///< the command went through, some files did not
inline constexpr int kExitUsage = 2;    ///< wrong command line or settings
inline constexpr int kExitCloud = 3;    ///< the cloud cannot be reached or refuses the login
inline constexpr int kExitState = 4;    ///< the state folder or the root is locked, damaged or of a later version
inline constexpr int kExitTimeout = 5;  ///< --timeout passed; what is missing comes with the next call
inline constexpr int kExitStopped = 6;  ///< a signal asked for the end; what is missing comes with the next call
inline constexpr int kExitLocal = 7;    ///< this machine: disk full, no permission, broken installation
inline constexpr int kExitLeak = 99;    ///< only in builds with the leak check: memory was lost

}  // namespace Drive::Host
