#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

namespace Drive::ReferenceCloud {

/// Bytes per second, shared by any number of threads. Pure arithmetic: the caller gives the time and does the waiting.
class RateLimit {
public:
    using Clock = std::chrono::steady_clock;

    /// 0 means no limit.
    explicit RateLimit(std::int64_t bytesPerSecond) : rate_(bytesPerSecond) {}

    bool Unlimited() const { return rate_ <= 0; }
    /// How many bytes to move at once, so that waits stay short: a twentieth of a second's worth, at least one.
    std::size_t Piece(std::size_t wanted) const;
    /// Books `bytes` and says how long to wait after moving them.
    Clock::duration Book(std::size_t bytes, Clock::time_point now);

private:
    const std::int64_t rate_;
    std::mutex mutex_;
    Clock::time_point free_{};  // guarded by mutex_: when what was booked so far has passed
};

}  // namespace Drive::ReferenceCloud
