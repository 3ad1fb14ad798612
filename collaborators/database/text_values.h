#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <string>

/// Texts between rows and the engine. A database text is the narrow form of the wide one, byte for byte, so that file
/// names with undecodable bytes round-trip; lengths are always given, since a text may hold anything.
namespace Drive::SQLiteDB {

/// Binds a wide text. Throws std::range_error for a text that has no narrow form.
void BindText(SQLite::Statement& statement, int index, const std::wstring& text);

/// The column as wide text; null gives the empty text, a number its decimal form.
std::wstring TextAt(const SQLite::Statement& statement, int column);

/// Equal without regard to the case of ASCII letters, as SQLite compares the names of columns.
bool SameName(const std::string& left, const std::string& right);

}  // namespace Drive::SQLiteDB
