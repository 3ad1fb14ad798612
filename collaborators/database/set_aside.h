#pragma once

#include <filesystem>

namespace Drive::SQLiteDB {

/// Renames a database and its write-ahead log to a free name with the date in it, in the same folder, and removes its
/// index. No connection may be open. Returns the new name; throws std::filesystem::filesystem_error.
std::filesystem::path SetAside(const std::filesystem::path& database);

}  // namespace Drive::SQLiteDB
