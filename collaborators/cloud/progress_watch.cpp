#include "collaborators/cloud/progress_watch.h"

#include <algorithm>

namespace Drive::Cloud {

namespace {

/// Content that comes slower than this in one idle limit keeps a worker, and the stop that waits for it, for days.
constexpr std::uint64_t kTrickle = 512;

std::uint64_t LeastBytes(const Limits& limits) {
    std::uint64_t least = kTrickle;
    for (const std::int64_t rate : {limits.uploadBytesPerSecond, limits.downloadBytesPerSecond}) {
        if (rate > 0) least = std::min(least, static_cast<std::uint64_t>(rate) / 2);
    }
    return std::max<std::uint64_t>(1, least);
}

std::string Seconds(std::int64_t milliseconds) { return std::to_string(milliseconds / 1000) + " seconds"; }

}  // namespace

ProgressWatch::ProgressWatch(const Limits& limits, std::int64_t totalMilliseconds)
    : connectMilliseconds(limits.connectMilliseconds),
      idleMilliseconds(limits.idleMilliseconds),
      answerMilliseconds(limits.controlMilliseconds),
      totalMilliseconds(totalMilliseconds),
      leastBytes(LeastBytes(limits)) {}

std::int64_t ProgressWatch::Since(Clock::time_point moment) const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - moment).count();
}

void ProgressWatch::Heard() {
    heardAnything = true;
    lastHeard = Clock::now();
}

void ProgressWatch::Moved(std::uint64_t bytes) {
    Heard();
    windowBytes += bytes;
    if (windowBytes < leastBytes) return;
    windowBytes = 0;
    windowBegan = lastHeard;
}

void ProgressWatch::Held(std::int64_t milliseconds) {
    const std::chrono::milliseconds span(milliseconds);
    windowBegan += span;
    phaseBegan += span;
    lastHeard = Clock::now();
}

void ProgressWatch::EnterPhase(Phase entered) {
    if (phase == entered) return;
    phase = entered;
    phaseBegan = windowBegan = Clock::now();
    windowBytes = 0;
}

std::string ProgressWatch::Verdict() const {
    // Until the first byte the limit on connecting must have its chance.
    const std::int64_t silence = heardAnything ? idleMilliseconds : std::max(idleMilliseconds, connectMilliseconds);
    if (Since(lastHeard) > silence) return "nothing was heard for " + Seconds(silence);
    if (phase == Phase::Moving && Since(windowBegan) > idleMilliseconds) {
        return "hardly anything arrived within " + Seconds(idleMilliseconds);
    }
    if (phase == Phase::Waiting && Since(phaseBegan) > answerMilliseconds) {
        return "no whole answer came within " + Seconds(answerMilliseconds);
    }
    if (totalMilliseconds > 0 && Since(started) > totalMilliseconds) return "the call took longer than it may";
    return {};
}

}  // namespace Drive::Cloud
