#pragma once

#include <algorithm>
#include <cstdint>

namespace Drive::Host {

/// How many bytes of a job list are done, out of two sources: what the records promise (exact, but in steps of whole
/// objects) and what went over the line (at once, but with every repetition in it). Between two steps of the records
/// the line fills the gap. Never goes back. Pure.
class ProgressMeter {
public:
    /// `recorded`: bytes of finished files and, for unfinished ones, of their records. `counted`: bytes over the line
    /// since the process began. `all`: where it ends.
    std::int64_t Done(std::int64_t recorded, std::int64_t counted, std::int64_t all) {
        if (!started || recorded != lastRecorded) {
            started = true;
            lastRecorded = recorded;
            countedThen = counted;
        }
        shown = std::clamp(recorded + (counted - countedThen), std::min(shown, all), all);
        return shown;
    }

private:
    bool started = false;
    std::int64_t lastRecorded = 0;
    std::int64_t countedThen = 0;
    std::int64_t shown = 0;
};

}  // namespace Drive::Host
