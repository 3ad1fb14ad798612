#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

/// Faults under the system calls of the library's own objects. For one thread at a time.
namespace Drive::Common::Trial {

/// What becomes of the next calls of one kind, in order; when nothing is left, or for 0, the real call is made.
/// A positive number is the error that the call fails with, a negative one the most bytes that it moves.
using Script = std::deque<int>;

struct Faults {
    Script read;
    Script pread;
    Script pwrite;
    Script fdatasync;
    Script fsync;
    Script getrandom;
    Script writeAt;  ///< of the platform layer
    int openat2Error = 0;
    std::int64_t wallClockAhead = 0;   ///< seconds
    long fileSystem = 0;               ///< told instead of the real one
    std::function<void()> beforeRead;  ///< called before each read and pread
    std::vector<std::string> journal;  ///< the calls that were made, by name

    std::size_t Count(const std::string& call) const;
};

Faults& CurrentFaults();

/// The real calls again, until the next test.
class FreshFaults {
public:
    FreshFaults() { CurrentFaults() = Faults(); }
    ~FreshFaults() { CurrentFaults() = Faults(); }
};

}  // namespace Drive::Common::Trial
