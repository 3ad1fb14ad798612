#pragma once

#include <cstdint>
#include <string>

namespace Drive::Host {

/// Bytes of a file that the record of its task promises to be done, 0 for none; `size` is the most that is answered.
/// `direction` is 1 for a download and 2 for an upload. Pure; a damaged record counts as none.
std::int64_t BytesInRecord(const std::wstring& fragmentInfo, int direction, std::int64_t size);

}  // namespace Drive::Host
