#include "reference_cloud/rate_limit.h"

#include <algorithm>

namespace Drive::ReferenceCloud {

std::size_t RateLimit::Piece(std::size_t wanted) const {
    if (Unlimited()) return wanted;
    return std::min<std::size_t>(wanted, static_cast<std::size_t>(std::max<std::int64_t>(1, rate_ / 20)));
}

RateLimit::Clock::duration RateLimit::Book(std::size_t bytes, Clock::time_point now) {
    if (Unlimited()) return {};
    const std::chrono::duration<double> cost(static_cast<double>(bytes) / static_cast<double>(rate_));
    const std::lock_guard lock(mutex_);
    free_ = std::max(free_, now) + std::chrono::duration_cast<Clock::duration>(cost);
    return free_ - now;
}

}  // namespace Drive::ReferenceCloud
