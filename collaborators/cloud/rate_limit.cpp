#include "collaborators/cloud/rate_limit.h"

#include <algorithm>

#include "collaborators/cloud/process_state.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

/// What an idle line may save up for a moment of more than the rate.
constexpr double kBurstMilliseconds = 100;

}  // namespace

std::int64_t RateLimit::Reserve(std::int64_t bytes, std::int64_t bytesPerSecond) {
    const auto now = static_cast<double>(Platform::MonotonicMilliseconds());
    const std::lock_guard lock(mutex);
    freeAt = std::max(freeAt, now - kBurstMilliseconds);
    freeAt += static_cast<double>(bytes) * 1000.0 / static_cast<double>(bytesPerSecond);
    return static_cast<std::int64_t>(std::max(0.0, freeAt - now));
}

bool RateLimit::Take(std::int64_t bytes, std::int64_t bytesPerSecond, bool download) {
    if (bytesPerSecond > 0 && bytes > 0) PauseUnlessAborted(Reserve(bytes, bytesPerSecond), download);
    return !IsAborted();
}

void RateLimit::Charge(std::int64_t bytes, std::int64_t bytesPerSecond) {
    if (bytesPerSecond > 0 && bytes > 0) Reserve(bytes, bytesPerSecond);
}

RateLimit& UploadRate() {
    static RateLimit& rate = *new RateLimit;
    return rate;
}

RateLimit& DownloadRate() {
    static RateLimit& rate = *new RateLimit;
    return rate;
}

}  // namespace Drive::Cloud
