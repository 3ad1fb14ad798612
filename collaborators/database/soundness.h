#pragma once

#include "collaborators/database/connection.h"

/// Whether a file can be relied on. Throws SQLite::Exception, also one that means damage.
namespace Drive::SQLiteDB {

/// SQLite's own check of the whole file, but for what its indexes hold.
bool IsSound(Connection& connection);

/// True when the indexes of the present schema hold as many rows as their tables. One that lost rows, as after a write
/// that a disk dropped, would hide them from the feeds for good.
bool IndexesFit(Connection& connection);

/// Makes all indexes anew from their tables. Rows that stand twice where they may not mean damage.
void RemakeIndexes(Connection& connection);

}  // namespace Drive::SQLiteDB
