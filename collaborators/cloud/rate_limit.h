#pragma once

#include <cstdint>
#include <mutex>

namespace Drive::Cloud {

/// One bandwidth limit that all transfers of a direction share.
class RateLimit {
public:
    /// Waits until `bytes` more may pass at this rate (bytes a second; 0: no limit, no wait). False when the host
    /// stops.
    /// With `download` the wait also ends when downloads stop: the receiver has to hear of it.
    bool Take(std::int64_t bytes, std::int64_t bytesPerSecond, bool download = false);

    /// Counts the bytes, for the others to wait, and does not wait.
    void Charge(std::int64_t bytes, std::int64_t bytesPerSecond);

private:
    std::int64_t Reserve(std::int64_t bytes, std::int64_t bytesPerSecond);

    std::mutex mutex;
    double freeAt = 0;  // milliseconds; guarded by mutex
};

RateLimit& UploadRate();
RateLimit& DownloadRate();

}  // namespace Drive::Cloud
