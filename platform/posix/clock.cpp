#include "interfaces/platform/clock.h"

#include <chrono>
#include <thread>

namespace Drive::Platform {

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        std::this_thread::yield();
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::int64_t UnixTimeSeconds() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(sinceEpoch).count();
}

std::int64_t MonotonicMilliseconds() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::milliseconds>(sinceStart).count();
}

}  // namespace Drive::Platform
