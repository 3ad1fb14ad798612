#pragma once

#include <string>

#include "interfaces/database/sync_rows.h"

/// What a database is not opened for, in words for a person: what, where, and what to do next. Nothing is changed by
/// any of these. `path` is that of the database.
namespace Drive::SQLiteDB {

OpenResult RefuseNewer(const std::string& path, int version);
OpenResult RefuseForeign(const std::string& path);

/// Ok when the database and its log are ordinary files or absent.
OpenResult RefuseOddPlaces(const std::string& path);

/// For a code of SQLite's; a full disk that is told as an error of the disk is recognised.
OpenResult RefuseFailure(const std::string& path, int code, const std::string& message);

}  // namespace Drive::SQLiteDB
