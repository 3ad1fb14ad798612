#pragma once

#include <cstddef>

namespace Drive::Testing {

/// What this program holds in objects and containers, from the moment of construction on: the bytes that operator new
/// gave out and nobody gave back. Counts every thread, so nothing else may work meanwhile that takes much.
class MemoryPeak {
public:
    MemoryPeak();
    /// The most that was held at once, beyond what was held at the beginning.
    std::size_t Bytes() const;

private:
    const std::size_t before;
};

}  // namespace Drive::Testing
