#pragma once

#include <cstdint>

#include "collaborators/cloud/http_exchange.h"

namespace Drive::Cloud {

/// When a request that failed is sent again: only an idempotent one, only after a failure that may pass, with growing
/// pauses that are cut at a cap and jittered, never earlier than the server asked for.
class Repeats {
public:
    /// `deadline` is a time of Platform::MonotonicMilliseconds after which no try begins, 0 for none.
    Repeats(bool idempotent, int most, std::int64_t deadline);

    /// For a download: no pause outlasts the engine's stop of downloads.
    static Repeats OfDownload(int most);

    /// Pauses and returns true when the request shall be sent again.
    bool Again(const HttpAnswer& answer);

private:
    std::int64_t NextPause(const HttpAnswer& answer) const;

    const int most;
    bool download = false;
    const std::int64_t deadline;
    int done = 0;
};

/// True for an answer that may be another one a moment later.
bool MayPass(const HttpAnswer& answer);

}  // namespace Drive::Cloud
