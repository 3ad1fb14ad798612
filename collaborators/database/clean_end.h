#pragma once

#include <cstdint>
#include <filesystem>

/// A note beside the database that it was closed in good order: how the file looked then, and when it was last checked
/// whole. While the file still looks so, nobody has written to it since, and a check at opening can find nothing new
/// but what a failing disk does to data at rest; for that the file is checked once a day all the same.
namespace Drive::SQLiteDB {

/// Takes the note away, so that it never stands beside a file that is in use, and gives the time of the last check
/// (seconds since the epoch) when it still holds. 0 when the file has to be checked.
std::int64_t TakeCleanEnd(const std::filesystem::path& database) noexcept;

/// Leaves the note for a file that no connection has open. Without one the next opening checks the file, so that
/// failures need not be told.
void LeaveCleanEnd(const std::filesystem::path& database, std::int64_t checkedAt) noexcept;

}  // namespace Drive::SQLiteDB
