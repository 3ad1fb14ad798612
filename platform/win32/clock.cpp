#include "interfaces/platform/clock.h"

#include <windows.h>

#include <algorithm>

namespace Drive::Platform {

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
/// From the first of January 1601, where the system begins to count, to that of 1970.
constexpr std::int64_t kSecondsBeforeTheEpoch = 11'644'473'600;

std::int64_t CounterFrequency() {
    LARGE_INTEGER frequency{};
    ::QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

}  // namespace

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        ::SwitchToThread();
        return;
    }
    const std::int64_t end = MonotonicMilliseconds() + milliseconds;
    // The system's pause may end a tick early, and its largest number means for ever.
    for (std::int64_t left = milliseconds; left > 0; left = end - MonotonicMilliseconds()) {
        ::Sleep(static_cast<::DWORD>(std::min<std::int64_t>(left, INFINITE - 1)));
    }
}

std::int64_t UnixTimeSeconds() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const std::int64_t ticks = (static_cast<std::int64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    return ticks / kTicksPerSecond - kSecondsBeforeTheEpoch;
}

std::int64_t MonotonicMilliseconds() {
    static const std::int64_t frequency = CounterFrequency();
    LARGE_INTEGER counter{};
    ::QueryPerformanceCounter(&counter);
    // Whole seconds apart, since counter times thousand may not fit.
    return counter.QuadPart / frequency * 1000 + counter.QuadPart % frequency * 1000 / frequency;
}

}  // namespace Drive::Platform
