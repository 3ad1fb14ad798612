#pragma once

#include <cstdint>

#include "interfaces/platform/export.h"
#include "interfaces/platform/types.h"

/// All that the engine knows of time. A test replaces it by a clock that it steps.
namespace Drive::Platform {

/// Pauses the calling thread for at least this many milliseconds; 0 gives the processor away once.
ZELKOR_API void Sleep(DWORD milliseconds);

/// Seconds since the epoch, of the wall clock; may jump when the clock is set.
ZELKOR_API std::int64_t UnixTimeSeconds();

/// Milliseconds of a clock that never goes back; only differences mean something.
ZELKOR_API std::int64_t MonotonicMilliseconds();

}  // namespace Drive::Platform
