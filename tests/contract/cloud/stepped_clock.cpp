#include "tests/contract/cloud/stepped_clock.h"

#include <mutex>
#include <numeric>

#include "interfaces/platform/clock.h"

namespace Drive::Testing {

namespace {

std::mutex mutex;
std::vector<std::uint32_t> pauses;
std::int64_t now = 1'000'000;

}  // namespace

std::vector<std::uint32_t> PausesSoFar() {
    const std::lock_guard lock(mutex);
    return pauses;
}

std::int64_t PausedMilliseconds() {
    const std::lock_guard lock(mutex);
    return std::accumulate(pauses.begin(), pauses.end(), std::int64_t{0});
}

void ForgetPauses() {
    const std::lock_guard lock(mutex);
    pauses.clear();
}

void StepClock(std::int64_t milliseconds) {
    const std::lock_guard lock(mutex);
    now += milliseconds;
}

}  // namespace Drive::Testing

namespace Drive::Platform {

void Sleep(DWORD milliseconds) {
    const std::lock_guard lock(Testing::mutex);
    Testing::pauses.push_back(milliseconds);
    Testing::now += milliseconds;
}

std::int64_t UnixTimeSeconds() { return 1'800'000'000; }

std::int64_t MonotonicMilliseconds() {
    const std::lock_guard lock(Testing::mutex);
    return Testing::now;
}

}  // namespace Drive::Platform
