#pragma once

#include <cstdint>

namespace Drive::Host {

/// A smoothed rate of bytes for a progress display. Pure; milliseconds of a clock that never goes back.
class Rate {
public:
    /// Takes the bytes moved so far at a moment.
    void Add(std::int64_t milliseconds, std::int64_t bytes) {
        if (started && milliseconds > lastTime) {
            const double now =
                static_cast<double>(bytes - lastBytes) * 1000 / static_cast<double>(milliseconds - lastTime);
            const double weight =
                static_cast<double>(milliseconds - lastTime) / (kWindow + static_cast<double>(milliseconds - lastTime));
            smooth = smooth < 0 ? now : smooth + weight * (now - smooth);
        }
        if (!started || milliseconds > lastTime) {
            started = true;
            lastTime = milliseconds;
            lastBytes = bytes;
        }
    }

    /// Bytes a second; 0 while nothing is known.
    double PerSecond() const { return smooth > 0 ? smooth : 0; }

    /// Seconds until so many bytes are moved, or -1 when that cannot be told.
    double SecondsFor(std::int64_t bytes) const {
        return PerSecond() > 1 ? static_cast<double>(bytes) / PerSecond() : -1;
    }

private:
    static constexpr double kWindow = 5000;
    bool started = false;
    std::int64_t lastTime = 0;
    std::int64_t lastBytes = 0;
    double smooth = -1;
};

}  // namespace Drive::Host
