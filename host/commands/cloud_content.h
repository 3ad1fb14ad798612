#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "host/commands/verify_outcome.h"

namespace Drive::Host {

/// Brings down what the cloud holds of a file as a download does it, address by address and decrypted, into a digest
/// and nowhere else: one object is in memory at a time, and of plain content one piece. `took` hears of plain bytes as
/// they come and ends the reading with false. Needs the user's keys for encrypted content, which are fetched at first
/// use. Never throws; what went wrong stands in the answer. One thread.
CloudContent ReadCloudContent(const std::wstring& fileId, const std::function<bool(std::int64_t)>& took);

}  // namespace Drive::Host
