#pragma once

#include <string>

namespace Drive::SQLiteDB {

/// What an SQLite result code means for a person, and what to do about it: one sentence or two, without a full stop
/// missing. Codes without a text of their own give the library's message.
std::string ExplainFailure(int code, const std::string& message);

/// True for the codes that say that the file itself is damaged or no database.
bool MeansDamage(int code);

}  // namespace Drive::SQLiteDB
