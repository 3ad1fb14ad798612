#include "tests/contract/common/stepped_clock.h"

#include <atomic>

#include "interfaces/platform/clock.h"

namespace Drive {

namespace {

std::atomic<std::int64_t> now{1'000'000};
std::atomic<std::int64_t> slept{0};

}  // namespace

namespace Platform {

void Sleep(DWORD milliseconds) {
    now += milliseconds;
    slept += milliseconds;
}

std::int64_t UnixTimeSeconds() { return 1'700'000'000 + now / 1000; }

std::int64_t MonotonicMilliseconds() { return now; }

}  // namespace Platform

namespace Common::Trial {

void StepClock(std::int64_t milliseconds) { now += milliseconds; }

std::int64_t TakeSlept() { return slept.exchange(0); }

}  // namespace Common::Trial

}  // namespace Drive
