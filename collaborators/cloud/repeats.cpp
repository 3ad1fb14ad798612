#include "collaborators/cloud/repeats.h"

#include <algorithm>
#include <random>

#include "collaborators/cloud/process_state.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

constexpr std::int64_t kFirstPause = 200;
constexpr std::int64_t kLongestPause = 5'000;
/// A server that asks for more patience than this is left to the next attempt of whoever called.
constexpr std::int64_t kMostPatience = 15'000;

std::int64_t Jittered(std::int64_t pause) {
    thread_local std::minstd_rand generator{std::random_device{}()};
    return std::uniform_int_distribution<std::int64_t>(pause / 2, pause)(generator);
}

}  // namespace

bool MayPass(const HttpAnswer& answer) {
    if (answer.failure == HttpFailure::Connection) return true;
    if (answer.failure != HttpFailure::None) return false;
    // 408 is what a server says of a connection that it found idle, when the request was on its way already.
    return answer.status == 408 || answer.status == 429 || answer.status == 502 || answer.status == 503 ||
           answer.status == 504;
}

Repeats::Repeats(bool idempotent, int most, std::int64_t deadline) : most(idempotent ? most : 0), deadline(deadline) {}

Repeats Repeats::OfDownload(int most) {
    Repeats repeats(true, most, 0);
    repeats.download = true;
    return repeats;
}

std::int64_t Repeats::NextPause(const HttpAnswer& answer) const {
    const std::int64_t grown = std::min(kLongestPause, kFirstPause << std::min(done, 10));
    const std::int64_t pause = Jittered(grown);
    if (answer.retryAfterSeconds < 0) return pause;
    if (answer.retryAfterSeconds > kMostPatience / 1000) return -1;
    return std::max(pause, answer.retryAfterSeconds * 1000);
}

bool Repeats::Again(const HttpAnswer& answer) {
    if (done >= most || answer.bodyBegun || !MayPass(answer)) return false;
    const std::int64_t pause = NextPause(answer);
    if (pause < 0) return false;
    if (deadline > 0 && Platform::MonotonicMilliseconds() + pause >= deadline) return false;
    ++done;
    return PauseUnlessAborted(pause, download);
}

}  // namespace Drive::Cloud
