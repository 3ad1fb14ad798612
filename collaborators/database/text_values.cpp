#include "collaborators/database/text_values.h"

#include <sqlite3.h>

#include "interfaces/platform/text.h"

namespace Drive::SQLiteDB {

void BindText(SQLite::Statement& statement, int index, const std::wstring& text) {
    statement.bind(index, Platform::NarrowText(text));
}

std::wstring TextAt(const SQLite::Statement& statement, int column) {
    return Platform::WidenText(const_cast<SQLite::Statement&>(statement).getColumn(column).getString());
}

bool SameName(const std::string& left, const std::string& right) {
    return sqlite3_stricmp(left.c_str(), right.c_str()) == 0;
}

}  // namespace Drive::SQLiteDB
