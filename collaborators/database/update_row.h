#pragma once

#include <string>

#include "collaborators/database/connection.h"
#include "interfaces/common/wmap.h"
#include "interfaces/database/update_info.h"

/// Updates that come as maps of column names and texts. Run inside a transaction; throw std::invalid_argument for an
/// unknown column, one that is named twice and a value that does not fit, and SQLite::Exception otherwise.
namespace Drive::SQLiteDB {

/// Writes the columns to the file row with that key; none is no failure. A new file id that another row has already:
/// see update_row.cpp, SettleNewId.
void UpdateFileRow(Connection& connection, const UpdateDBInfo& info);

void UpdateTaskRow(Connection& connection, const UpdateDBInfo& info, int direction);

/// True when the update moves nothing but a download's or upload's position, which may lag behind the disk. Emptying
/// the record is not such a move: an old plan that came back would be resumed.
bool IsPositionOnly(const UpdateDBInfo& info);

}  // namespace Drive::SQLiteDB
