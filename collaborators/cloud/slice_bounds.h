#pragma once

#include <cstdint>

/// What the protocol lets a slice have. An object of a slice is held in memory as a whole on its way, so whatever a
/// cloud says beyond this is not believed.
namespace Drive::Cloud {

inline constexpr std::int64_t kLargestSlice = std::int64_t{1} << 30;  ///< plain bytes
inline constexpr std::int64_t kLargestObject = kLargestSlice + 16;    ///< stored bytes, with the padding

}  // namespace Drive::Cloud
