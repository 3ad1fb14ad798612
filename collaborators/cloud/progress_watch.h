#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "collaborators/cloud/process_state.h"

namespace Drive::Cloud {

/// Tells when a request is to be given up because too little happens. A line that is silent, and content that only
/// trickles, end it after the idle limit; the rest of a request, where nothing but an answer is waited for, has the
/// total limit of a control call. Time that our own side takes, as for writing what came, does not count.
class ProgressWatch {
public:
    enum class Phase { Waiting, Moving };  ///< for an answer; content on its way

    ProgressWatch(const Limits& limits, std::int64_t totalMilliseconds);

    void Heard();                          ///< a byte came, of whatever kind
    void Moved(std::uint64_t bytes);       ///< content went or came
    void Held(std::int64_t milliseconds);  ///< our own side took this long
    void EnterPhase(Phase phase);

    /// How long nothing came, milliseconds.
    std::int64_t Silence() const { return Since(lastHeard); }

    /// Empty while all is well, otherwise what is wrong.
    std::string Verdict() const;

private:
    using Clock = std::chrono::steady_clock;

    std::int64_t Since(Clock::time_point moment) const;

    const std::int64_t connectMilliseconds;
    const std::int64_t idleMilliseconds;
    const std::int64_t answerMilliseconds;
    const std::int64_t totalMilliseconds;
    const std::uint64_t leastBytes;  ///< content in one idle limit
    const Clock::time_point started = Clock::now();
    Clock::time_point lastHeard = started;
    Clock::time_point phaseBegan = started;
    Clock::time_point windowBegan = started;
    std::uint64_t windowBytes = 0;
    Phase phase = Phase::Waiting;
    bool heardAnything = false;
};

}  // namespace Drive::Cloud
