#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <string>

/// Texts between rows and the engine.
///
/// A database text is the narrow form of the wide one: UTF-8, undecodable bytes of file names (U+DC80..U+DCFF) as the
/// bytes that they stand for. Only where such bytes happen to be valid UTF-8, as in the escaped form of a name that
/// really holds U+F05C, each is written as its three-byte surrogate code instead (ED B2 80 to ED B3 BF): otherwise two
/// names would be one text. So every text round-trips, and equal texts are equal bytes. Lengths are always given, since
/// a text may hold anything.
namespace Drive::SQLiteDB {

/// Wide text to database text. What it makes of a piece does not depend on what stands around it, so that a whole
/// statement may be encoded. Throws std::range_error for a text that has no narrow form.
std::string EncodeText(const std::wstring& text);
std::wstring DecodeText(const std::string& bytes);

/// Binds a wide text. Throws std::range_error for a text that has no narrow form.
void BindText(SQLite::Statement& statement, int index, const std::wstring& text);

/// The column as wide text; null gives the empty text, a number its decimal form.
std::wstring TextAt(const SQLite::Statement& statement, int column);

/// Equal without regard to the case of ASCII letters, as SQLite compares the names of columns.
bool SameName(const std::string& left, const std::string& right);

}  // namespace Drive::SQLiteDB
