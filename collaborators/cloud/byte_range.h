#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Drive::Cloud {

/// N of "bytes=N-". No value for any other form.
std::optional<std::int64_t> OpenRangeStart(const std::string& header);

/// "bytes A-B/T" of an answer; `total` is -1 for "*".
struct ContentRange {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t total = -1;
};

std::optional<ContentRange> ParseContentRange(const std::string& header);

}  // namespace Drive::Cloud
