#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "interfaces/cloud/drive_account.h"

/// What the whole process shares: the settings, the counters and the stop flag.
namespace Drive::Cloud {

struct Limits {
    std::string baseUrl;  ///< without a closing slash
    std::string caFile;   ///< native path, or empty
    std::int64_t connectMilliseconds = 10'000;
    std::int64_t idleMilliseconds = 30'000;
    std::int64_t controlMilliseconds = 60'000;
    int repeats = 4;
    std::int64_t uploadBytesPerSecond = 0;
    std::int64_t downloadBytesPerSecond = 0;
    bool proxyForLoopback = false;
};

/// The settings in force. A call takes them once and keeps them to its end.
std::shared_ptr<const Limits> CurrentLimits();
void SetLimits(const CloudSettings& settings);

void CountSent(std::uint64_t bytes);
void CountReceived(std::uint64_t bytes);
TransferCounters CountersNow();

void SetAborted(bool aborted);
bool IsAborted();

/// The engine wants no more downloads; it waits for those that run.
bool AreDownloadsStopped();

/// Platform::Sleep in short steps. False when the host stops meanwhile, with `download` also when downloads stop.
bool PauseUnlessAborted(std::int64_t milliseconds, bool download = false);

}  // namespace Drive::Cloud
