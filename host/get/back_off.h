#pragma once

#include <cstdint>

namespace Drive::Host {

/// When a file that failed is tried again: 5 seconds after the first failure, then twice as long each time, half an
/// hour at most. Pure; milliseconds of a clock that never goes back.
inline constexpr std::int64_t kFirstWait = 5000;
inline constexpr std::int64_t kLongestWait = 30 * 60 * 1000;

inline std::int64_t WaitAfter(int failures) {
    std::int64_t wait = kFirstWait;
    for (int count = 1; count < failures && wait < kLongestWait; ++count) {
        wait *= 2;
    }
    return wait < kLongestWait ? wait : kLongestWait;
}

}  // namespace Drive::Host
